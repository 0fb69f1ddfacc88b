// platform/threads.h: threads, sleeping and the runtime's locks.
#ifndef MIRT_PLATFORM_THREADS_H
#define MIRT_PLATFORM_THREADS_H

#include <mutex>

#include "os_lock.h"  // the build puts this system's implementation on the include path

namespace mirt::platform {

// Starts a detached thread running fn(arg). Returns false when it could not
// be created. The thread is never joined.
bool start_thread(void (*fn)(void*), void* arg);

void sleep_ms(unsigned milliseconds);

// A lock that is created and deleted explicitly (not by constructors), so
// that its life follows the library's attach and detach:
//   void init(); void destroy(); void lock(); void unlock();
// It is held only through LockHold (or std::unique_lock where a scope must
// let go of it early), never by hand.
using platform::Lock;
using LockHold = std::lock_guard<Lock>;

}  // namespace mirt::platform

#endif
