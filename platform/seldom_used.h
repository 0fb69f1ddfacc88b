// platform/seldom_used.h: where the runtime's large buffers lie in memory.
#ifndef MIRT_PLATFORM_SELDOM_USED_H
#define MIRT_PLATFORM_SELDOM_USED_H

// A short process pays for every page of the library's zeroed data that it
// touches first (a page fault each). Large buffers that a process may never
// touch (the trace records, the recent-point cache, path buffers) go after the
// rest of that data, so that the small globals that start and exit do touch
// share one or two pages. ELF only: the linker places ".lbss" sections after
// ".bss"; elsewhere (PE) the buffers stay where the compiler puts them.
#if defined(__ELF__)
#define MIRT_SELDOM_USED(name) __attribute__((section(".lbss." name)))
#else
#define MIRT_SELDOM_USED(name)
#endif

#endif
