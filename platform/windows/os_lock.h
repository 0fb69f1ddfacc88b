// os_lock.h (Windows): the runtime's lock is a critical section, held here as
// opaque storage so that <windows.h> stays inside this folder's sources.
#ifndef MIRT_OS_LOCK_H
#define MIRT_OS_LOCK_H

namespace mirt::platform {

class Lock {
public:
    void init();
    void destroy();
    void lock();
    void unlock();

private:
    alignas(8) unsigned char section_[40];  // a CRITICAL_SECTION of x64 (threads.cpp checks the size)
};

}  // namespace mirt::platform

#endif
