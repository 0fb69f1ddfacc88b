/* util.h: found through the source's own folder ("quoted" include). */
#ifndef UTIL_H
#define UTIL_H
#ifdef __cplusplus
extern "C" {
#endif
int collatz_steps(int n);
int collatz_unused(int n);
#ifdef __cplusplus
}
#endif
#endif
