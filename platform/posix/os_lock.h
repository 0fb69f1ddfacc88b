// os_lock.h (POSIX): the runtime's lock is a plain mutex.
#ifndef MIRT_OS_LOCK_H
#define MIRT_OS_LOCK_H

#include <pthread.h>

namespace mirt::platform {

class Lock {
public:
    void init() { pthread_mutex_init(&mutex_, nullptr); }
    void destroy() { pthread_mutex_destroy(&mutex_); }
    void lock() { pthread_mutex_lock(&mutex_); }
    void unlock() { pthread_mutex_unlock(&mutex_); }

private:
    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
};

}  // namespace mirt::platform

#endif
