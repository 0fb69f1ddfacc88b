// A short test process, as a unit-test suite starts many: with no argument it
// ends at once; with a number it checks a few small functions on it.
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {
int digit_sum(long n) {
    int sum = 0;
    for (; n > 0; n /= 10) sum += static_cast<int>(n % 10);
    return sum;
}

bool is_prime(long n) {
    if (n < 2) return false;
    for (long d = 2; d * d <= n; ++d)
        if (n % d == 0) return false;
    return true;
}

int reversed(const char* text, char* out, size_t size) {
    size_t n = strlen(text);
    if (n + 1 > size) return -1;
    for (size_t i = 0; i < n; ++i) out[i] = text[n - 1 - i];
    out[n] = '\0';
    return static_cast<int>(n);
}
}  // namespace

#ifdef WITH_UNITS
int units_check(long n);
#endif

int main(int argc, char** argv) {
    if (argc < 2) return 0;
    long n = atol(argv[1]);
    char out[64];
    int failures = 0;
    if (digit_sum(n) < 0) ++failures;
    if (is_prime(n) && n % 2 == 0 && n != 2) ++failures;
    if (reversed(argv[1], out, sizeof out) != static_cast<int>(strlen(argv[1]))) ++failures;
#ifdef WITH_UNITS
    failures += units_check(n);
#endif
    return failures;
}
