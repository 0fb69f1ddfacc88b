// timer.cpp (POSIX): the auto-dump timer as a thread of its own. This file holds only POSIX code.
#include "platform/timer.h"

#include <pthread.h>
#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <new>

namespace mirt::platform {

namespace {

// One armed timer. Its state is never freed: the detached thread may still
// be leaving its loop after stop_timer returned. A stopped timer is kept on
// the retired list, so that it stays reachable rather than lost (one per
// arming: auto-dump arms once per start, or again for a new interval).
struct TimerThread {
    pthread_mutex_t mutex;  // held by the thread while it runs a tick
    pthread_cond_t wake;
    void (*callback)();
    uint32_t interval_ms;
    pid_t owner;            // a forked child has no timer thread
    pthread_t thread;
    bool stopped;
    bool held;
    TimerThread* next_retired;
};

pthread_mutex_t slot_mutex = PTHREAD_MUTEX_INITIALIZER;
TimerThread* armed = nullptr;
TimerThread* retired = nullptr;

uint32_t effective_interval(uint32_t interval_ms) {
    if (interval_ms < 10) return 10;
    if (interval_ms > 0x7FFFFFFFu) return 0x7FFFFFFFu;
    return interval_ms;
}

void add_ms(timespec* t, uint32_t ms) {
    t->tv_sec += static_cast<time_t>(ms / 1000);
    t->tv_nsec += static_cast<long>(ms % 1000) * 1000000L;
    if (t->tv_nsec >= 1000000000L) {
        t->tv_sec += 1;
        t->tv_nsec -= 1000000000L;
    }
}

bool reached(const timespec& now, const timespec& deadline) {
    return now.tv_sec > deadline.tv_sec || (now.tv_sec == deadline.tv_sec && now.tv_nsec >= deadline.tv_nsec);
}

// Ticks run with the timer's mutex held: a tick cannot overlap the next, and
// hold_timer and stop_timer, which take the mutex, wait for a running tick.
// A tick that comes late (a long tick, a busy machine) is not repeated: the
// next is due one interval later, as a Windows thread timer's are.
void* timer_main(void* parameter) {
    auto* timer = static_cast<TimerThread*>(parameter);
    pthread_mutex_lock(&timer->mutex);
    timespec due;
    clock_gettime(CLOCK_MONOTONIC, &due);
    add_ms(&due, timer->interval_ms);
    while (!timer->stopped) {
        int rc = pthread_cond_timedwait(&timer->wake, &timer->mutex, &due);
        if (timer->stopped) break;
        if (rc != ETIMEDOUT && rc != 0) continue;
        timespec now;
        clock_gettime(CLOCK_MONOTONIC, &now);
        if (!reached(now, due)) continue;
        if (!timer->held) timer->callback();
        clock_gettime(CLOCK_MONOTONIC, &now);
        add_ms(&due, timer->interval_ms);
        if (reached(now, due)) {
            due = now;
            add_ms(&due, timer->interval_ms);
        }
    }
    pthread_mutex_unlock(&timer->mutex);
    return nullptr;
}

// The timer's mutex cannot be taken from inside a tick (the thread holds
// it), nor in a forked child (the owner's thread may have held it at the
// fork); both cases are answered without it.
bool may_lock(const TimerThread* timer) {
    return timer->owner == getpid() && !pthread_equal(timer->thread, pthread_self());
}

TimerThread* find(TimerId id) {
    pthread_mutex_lock(&slot_mutex);
    TimerThread* timer = id != 0 && reinterpret_cast<TimerThread*>(id) == armed ? armed : nullptr;
    pthread_mutex_unlock(&slot_mutex);
    return timer;
}

}  // namespace

TimerId start_timer(uint32_t interval_ms, void (*callback)()) {
    if (callback == nullptr) return 0;
    pthread_mutex_lock(&slot_mutex);
    if (armed != nullptr && armed->owner == getpid()) {
        pthread_mutex_unlock(&slot_mutex);
        return 0;
    }
    auto* timer = new (std::nothrow) TimerThread{};
    if (timer == nullptr) {
        pthread_mutex_unlock(&slot_mutex);
        return 0;
    }
    pthread_mutex_init(&timer->mutex, nullptr);
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_init(&timer->wake, &attributes);
    pthread_condattr_destroy(&attributes);
    timer->callback = callback;
    timer->interval_ms = effective_interval(interval_ms);
    timer->owner = getpid();

    // The thread takes no signals meant for the program.
    sigset_t all, previous;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &previous);
    // The mutex is held until the thread's identity is stored, so that the
    // thread cannot run a tick before may_lock can recognise it.
    pthread_mutex_lock(&timer->mutex);
    bool started = pthread_create(&timer->thread, nullptr, timer_main, timer) == 0;
    pthread_mutex_unlock(&timer->mutex);
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    if (!started) {
        pthread_mutex_unlock(&slot_mutex);
        pthread_cond_destroy(&timer->wake);
        pthread_mutex_destroy(&timer->mutex);
        delete timer;
        return 0;
    }
    pthread_detach(timer->thread);  // never joined
    armed = timer;
    pthread_mutex_unlock(&slot_mutex);
    return reinterpret_cast<TimerId>(timer);
}

void hold_timer(TimerId id) {
    TimerThread* timer = find(id);
    if (timer == nullptr) return;
    if (!may_lock(timer)) {
        timer->held = true;
        return;
    }
    pthread_mutex_lock(&timer->mutex);
    timer->held = true;
    pthread_mutex_unlock(&timer->mutex);
}

void stop_timer(TimerId id) {
    TimerThread* timer = find(id);
    if (timer == nullptr) return;
    if (may_lock(timer)) {
        pthread_mutex_lock(&timer->mutex);
        timer->stopped = true;
        pthread_cond_signal(&timer->wake);
        pthread_mutex_unlock(&timer->mutex);
    } else {
        timer->stopped = true;
    }
    pthread_mutex_lock(&slot_mutex);
    if (armed == timer) {
        armed = nullptr;
        timer->next_retired = retired;
        retired = timer;
    }
    pthread_mutex_unlock(&slot_mutex);
}

}  // namespace mirt::platform
