// entry.cpp (POSIX): the shared library's constructor and destructor run attach and detach.
// This file holds only POSIX code.
#include "platform/entry.h"

#include <pthread.h>

// The destructor runs at exit() or dlclose(), while the process's other
// threads may still run; the detach sequence copes with that itself.
__attribute__((constructor)) static void mirt_library_loaded() {
    mirt::platform::library_loaded();
    pthread_atfork(mirt::platform::process_forking, [] { mirt::platform::process_forked(false); },
                   [] { mirt::platform::process_forked(true); });
}

__attribute__((destructor)) static void mirt_library_unloaded() { mirt::platform::library_unloading(false); }
