// os_lock.h (Windows): the runtime's lock is a critical section.
#ifndef MIRT_OS_LOCK_H
#define MIRT_OS_LOCK_H

#include "windows_api.h"

namespace mirt::platform {

class Lock {
public:
    void init() { InitializeCriticalSection(&section_); }
    void destroy() { DeleteCriticalSection(&section_); }
    void enter() { EnterCriticalSection(&section_); }
    void leave() { LeaveCriticalSection(&section_); }

private:
    CRITICAL_SECTION section_;
};

}  // namespace mirt::platform

#endif
