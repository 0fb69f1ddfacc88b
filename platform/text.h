// platform/text.h: small text helpers shared by the runtime; they need no
// system service, and call no C library function that a program might define.
#ifndef MIRT_PLATFORM_TEXT_H
#define MIRT_PLATFORM_TEXT_H

#include <cstddef>

namespace mirt {

// Case-insensitive comparison of ASCII letters, as the C runtime's does in
// the C locale: both sides are folded to lower case byte by byte. Returns <0, 0, >0.
int ascii_casecmp(const char* a, const char* b);

// The length of text up to its terminator, at most limit; reads no byte
// past either. The runtime calls no C library function that programs often
// define for themselves (strnlen, strcasecmp: portability shims): the dynamic
// linker would bind the runtime's calls to the program's own definition, which
// would then run, and count its lines, inside the runtime.
size_t bounded_length(const char* text, size_t limit);

// Copies at most limit bytes of text (stopping at its terminator) into
// destination and terminates it; destination must hold limit + 1 bytes.
// A null text copies as the empty string. Returns the length copied.
size_t copy_bounded(char* destination, const char* text, size_t limit);

}  // namespace mirt

#endif
