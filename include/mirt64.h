/* mirt64.h: the probes and control functions that instrumented programs call.
 *
 * C code sees the c_ forms; C++ code sees every form, among them the mirt_obj
 * scope type. On Windows the library exports each C++ function under three
 * names: the Microsoft compiler's decorated name, the GNU name, and the c_
 * name where one exists, so programs built by either compiler link to it.
 *
 * Managed (.NET) code reaches the source-line probe through the class
 * mirt.mirt_dotnet (mirt_fn_net) and its native-bodied mirt_fn2_indirect,
 * which come with the managed assembly rather than with this header.
 */
#ifndef MIRT64_H
#define MIRT64_H

#if defined(_WIN32)
#  if defined(MIRT64_BUILDING)
#    define MIRT_API
#  else
#    define MIRT_API __declspec(dllimport)
#  endif
#else
#  define MIRT_API __attribute__((visibility("default")))
#endif

/* A count: 64 bits. __extension__ lets strict C89 builds (-pedantic) take long long;
   C++98 builds need the pragma. */
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wlong-long"
__extension__ typedef long long mirt_count_t;
#pragma GCC diagnostic pop
#else
typedef long long mirt_count_t;
#endif

#ifdef __cplusplus
extern "C" {
#define MIRT_BOOL bool
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 199901L
#include <stdbool.h>
#define MIRT_BOOL bool
#else
/* C89 has no bool: one byte, passed as the library's bool is. */
#define MIRT_BOOL unsigned char
#endif

/* Pointer-keyed point: counts a hit of (key, line); key is a file-name string. */
MIRT_API int c_mirt_fn(char* key, int line);
/* Labels the record groups written from now on (name: at most 255 bytes). */
MIRT_API void c_mirt_set_test_name(char* name, int length, char* label);
/* Whether the library writes its exit output file when the process ends. */
MIRT_API void c_mirt_allow_shutdown_writing(MIRT_BOOL allowed);
/* Registers a module's own line table and counter table (both stay the caller's). */
MIRT_API int c_mirt_reg(char* name, int count, int* lines, mirt_count_t* counters);
/* Registers a module's line table; returns the counter table the module increments. */
MIRT_API mirt_count_t* c_mirt_reg2(char* name, int count, int* lines);
/* Resets every count, in this process and, in the host, in every client. */
MIRT_API void c_mirt_clear_coverage_data(void);
/* Source-line probe: counts a hit of (file, line). Thread-safe. */
MIRT_API int c_mirt_fn2(char* file, int line);
/* Appends one record group with every count so far to the output file at path. */
MIRT_API void c_mirt_write_coverage_data(const char* path);

#ifdef __cplusplus
} /* extern "C" */

/* Numbered counter: counts a hit of point number id (0 to 999,999). */
MIRT_API int mirt_fn(int id);
MIRT_API int mirt_fn(char* key, int line);

/* A named point as a scope: construction counts a hit of (name, line) and
 * traces entry, destruction traces leaving. The name must outlive the
 * library's tables (string literals do). */
struct MIRT_API mirt_obj {
    int index;
    mirt_obj(char* name, int line);
#if __cplusplus >= 201103L
    /* A string literal's name (see the forms for literals below). */
    template <decltype(sizeof 0) N>
    mirt_obj(const char (&name)[N], int line) : mirt_obj(const_cast<char*>(name), line) {}
#endif
    ~mirt_obj();
    mirt_obj& operator=(const mirt_obj& other);
};

MIRT_API void mirt_set_test_name(char* name, int length, char* label);
MIRT_API void mirt_allow_shutdown_writing(bool allowed);
MIRT_API int mirt_reg(char* name, int count, int* lines, mirt_count_t* counters);
MIRT_API mirt_count_t* mirt_reg2(char* name, int count, int* lines);
MIRT_API void mirt_clear_coverage_data();
MIRT_API int mirt_fn2(char* file, int line);
/* The same code as c_mirt_fn2, for callers compiled against a void prototype. */
MIRT_API void mirt_fn22(char* file, int line);
MIRT_API void mirt_write_coverage_data(const char* path);

/* Names as string literals: C++ has them const, the library takes char*
 * (it never writes through them). These take a literal (an array of const
 * char; a char* or a null pointer still goes to the exported function) and
 * forward to the exported functions: the library exports nothing more. */
#if __cplusplus >= 201103L
#define MIRT_LITERAL(n) template <decltype(sizeof 0) n> inline
MIRT_LITERAL(N) int mirt_fn(const char (&key)[N], int line) { return mirt_fn(const_cast<char*>(key), line); }
MIRT_LITERAL(N) int c_mirt_fn(const char (&key)[N], int line) { return c_mirt_fn(const_cast<char*>(key), line); }
template <decltype(sizeof 0) N, decltype(sizeof 0) M>
inline void mirt_set_test_name(const char (&name)[N], int length, const char (&label)[M]) {
    mirt_set_test_name(const_cast<char*>(name), length, const_cast<char*>(label));
}
template <decltype(sizeof 0) N, decltype(sizeof 0) M>
inline void c_mirt_set_test_name(const char (&name)[N], int length, const char (&label)[M]) {
    c_mirt_set_test_name(const_cast<char*>(name), length, const_cast<char*>(label));
}
MIRT_LITERAL(N) int mirt_reg(const char (&name)[N], int count, int* lines, mirt_count_t* counters) {
    return mirt_reg(const_cast<char*>(name), count, lines, counters);
}
MIRT_LITERAL(N) int c_mirt_reg(const char (&name)[N], int count, int* lines, mirt_count_t* counters) {
    return c_mirt_reg(const_cast<char*>(name), count, lines, counters);
}
MIRT_LITERAL(N) mirt_count_t* mirt_reg2(const char (&name)[N], int count, int* lines) {
    return mirt_reg2(const_cast<char*>(name), count, lines);
}
MIRT_LITERAL(N) mirt_count_t* c_mirt_reg2(const char (&name)[N], int count, int* lines) {
    return c_mirt_reg2(const_cast<char*>(name), count, lines);
}
MIRT_LITERAL(N) int mirt_fn2(const char (&file)[N], int line) { return mirt_fn2(const_cast<char*>(file), line); }
MIRT_LITERAL(N) int c_mirt_fn2(const char (&file)[N], int line) { return c_mirt_fn2(const_cast<char*>(file), line); }
MIRT_LITERAL(N) void mirt_fn22(const char (&file)[N], int line) { mirt_fn22(const_cast<char*>(file), line); }
#undef MIRT_LITERAL
#endif
#endif /* __cplusplus */

#endif /* MIRT64_H */
