// attach.h: attach and detach of the library.
#ifndef MIRT_STARTUP_ATTACH_H
#define MIRT_STARTUP_ATTACH_H

namespace mirt {

// Path of the output file that detach writes; writable so that it can be
// pointed elsewhere.
extern const char* exit_output_path;

// What the C++ start-up of the library decides before attach: the role flags
// and the empty containers.
void run_static_initialisers();
void process_attach();
// threads_gone: the process is ending and its other threads are already gone
// (Windows); they may have left locks held, and nobody else will run.
void process_detach(bool threads_gone = false);
// Around fork() (POSIX): the parent's tables are held still, and the child
// starts its counts from zero as a stand-alone process.
void process_forking();
void process_forked(bool child);

}  // namespace mirt

#endif
