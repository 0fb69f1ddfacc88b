// text.h: small text helpers shared by the runtime.
#ifndef MIRT_CORE_TEXT_H
#define MIRT_CORE_TEXT_H

#include <cstddef>

namespace mirt {

// Case-insensitive comparison of ASCII letters, as the C runtime's does in
// the C locale: both sides are folded to lower case byte by byte. Returns <0, 0, >0.
int ascii_casecmp(const char* a, const char* b);

// Copies at most limit bytes of text (stopping at its terminator) into
// destination and terminates it; destination must hold limit + 1 bytes.
// A null text copies as the empty string. Returns the length copied.
size_t copy_bounded(char* destination, const char* text, size_t limit);

}  // namespace mirt

#endif
