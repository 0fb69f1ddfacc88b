// entry.cpp (POSIX): the shared library's constructor and destructor run attach and detach.
// This file holds only POSIX code.
#include "lifecycle.h"

// The destructor runs at exit() or dlclose(), while the process's other
// threads may still run; the detach sequence copes with that itself.
__attribute__((constructor)) static void mirt_library_loaded() {
    mirt::run_static_initialisers();
    mirt::process_attach();
}

__attribute__((destructor)) static void mirt_library_unloaded() { mirt::process_detach(); }
