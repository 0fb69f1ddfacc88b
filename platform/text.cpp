// text.cpp: small text helpers shared by the runtime (portable).
#include "platform/text.h"

#include <cstring>

namespace mirt {

int ascii_casecmp(const char* a, const char* b) {
    const unsigned char* p = reinterpret_cast<const unsigned char*>(a);
    const unsigned char* q = reinterpret_cast<const unsigned char*>(b);
    for (;; ++p, ++q) {
        int x = (*p >= 'A' && *p <= 'Z') ? *p + ('a' - 'A') : *p;
        int y = (*q >= 'A' && *q <= 'Z') ? *q + ('a' - 'A') : *q;
        if (x != y || x == 0) return x - y;
    }
}

size_t bounded_length(const char* text, size_t limit) {
    size_t n = 0;
    while (n < limit && text[n] != '\0') ++n;
    return n;
}

size_t copy_bounded(char* destination, const char* text, size_t limit) {
    size_t n = text != nullptr ? bounded_length(text, limit) : 0;
    if (n > 0) memcpy(destination, text, n);
    destination[n] = '\0';
    return n;
}

}  // namespace mirt
