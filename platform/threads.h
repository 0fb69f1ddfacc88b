// platform/threads.h: threads, sleeping and the runtime's locks.
#ifndef MIRT_PLATFORM_THREADS_H
#define MIRT_PLATFORM_THREADS_H

#include <mutex>

#ifdef _WIN32
#include "platform/windows/os_lock.h"
#else
#include "platform/posix/os_lock.h"
#endif

namespace mirt::platform {

// Starts a detached thread running fn(arg). Returns false when it could not
// be created. The thread is never joined.
bool start_thread(void (*fn)(void*), void* arg);

void sleep_ms(unsigned milliseconds);

// True where the library's detach runs while the process's other threads
// still run and may be inside a probe (POSIX: exit() runs the destructor with
// every thread alive). Detach then leaves every table and lock that a probe
// reaches in place: freeing one under a probe would crash the program on its
// way out.
extern const bool probes_may_run_at_detach;

// A lock that is created and deleted explicitly (not by constructors), so
// that its life follows the library's attach and detach:
//   void init(); void destroy(); void lock(); void unlock();
// It is held only through LockHold (or std::unique_lock where a scope must
// let go of it early), never by hand.
using platform::Lock;
using LockHold = std::lock_guard<Lock>;

}  // namespace mirt::platform

#endif
