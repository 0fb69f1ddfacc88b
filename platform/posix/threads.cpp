// threads.cpp (POSIX): thread creation and sleeping. This file holds only POSIX code.
#include "platform/threads.h"

#include <pthread.h>
#include <time.h>

#include <cerrno>
#include <new>

namespace mirt::platform {

const bool probes_may_run_at_detach = true;

namespace {
struct ThreadStart {
    void (*fn)(void*);
    void* arg;
};

void* thread_main(void* parameter) {
    ThreadStart start = *static_cast<ThreadStart*>(parameter);
    delete static_cast<ThreadStart*>(parameter);
    start.fn(start.arg);
    return nullptr;
}
}  // namespace

bool start_thread(void (*fn)(void*), void* arg) {
    auto* start = new (std::nothrow) ThreadStart{fn, arg};
    if (start == nullptr) return false;
    pthread_t thread;
    if (pthread_create(&thread, nullptr, thread_main, start) != 0) {
        delete start;
        return false;
    }
    pthread_detach(thread);  // never joined
    return true;
}

void sleep_ms(unsigned milliseconds) {
    timespec wait{static_cast<time_t>(milliseconds / 1000), static_cast<long>(milliseconds % 1000) * 1000000L};
    while (nanosleep(&wait, &wait) != 0 && errno == EINTR) {
    }
}

}  // namespace mirt::platform
