// emit.h: one formatted line of coverage output.
#ifndef MIRT_OUTPUT_EMIT_H
#define MIRT_OUTPUT_EMIT_H

#include <cinttypes>
#include <cstdarg>
#include <cstdio>

namespace mirt {

// The formatted write behind every line of a coverage file; vfprintf. A
// test points it at a writer that fails at a chosen line, which no real
// disk does on demand.
extern int (*output_vprintf)(FILE* stream, const char* format, va_list args);

// Writes one line; negative when it could not be written.
int emit(FILE* stream, const char* format, ...) __attribute__((format(printf, 2, 3)));

// A count line: a 32-bit line (or point) number and a 64-bit count, both
// signed decimal, as "%d,%I64d" prints them on Windows.
inline constexpr const char* count_line_format = "%d,%" PRId64 "\n";

}  // namespace mirt

#endif
