// platform/entry.h: what the system's entry point of the library calls. The entry
// point (entry.cpp of each system) makes the calls; start-up, the top layer, defines them.
#ifndef MIRT_PLATFORM_ENTRY_H
#define MIRT_PLATFORM_ENTRY_H

namespace mirt::platform {

// The library was loaded into a process and the C++ start-up has run.
void library_loaded();
// The library is being unloaded. threads_gone: the process is ending and
// its other threads are already gone (Windows); they may have left locks
// held, and nobody else will run.
void library_unloading(bool threads_gone);

// fork() (POSIX only): before it, in the parent after it, and in the child,
// which has only the forking thread.
void process_forking();
void process_forked(bool child);

}  // namespace mirt::platform

#endif
