// Tests of the POSIX timer thread: it ticks without any message loop, never overlaps
// itself, and hold and stop wait for a running tick. This file holds only POSIX code.
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>

#include "test_support.h"
#include "timer.h"

using namespace mirt::platform;

namespace {

std::atomic<int> ticks{0}, running{0}, most_running{0};
std::atomic<bool> other_thread{false};
pthread_t test_thread;

// A tick five times as long as the interval.
void slow_tick() {
    int now = ++running;
    if (now > most_running) most_running = now;
    other_thread = !pthread_equal(pthread_self(), test_thread);
    usleep(100 * 1000);
    ++ticks;
    --running;
}

TimerId start_and_wait_for_a_tick() {
    test_thread = pthread_self();
    TimerId id = start_timer(20, slow_tick);
    EXPECT_TRUE(mirt_test::pump_until([] { return running == 1; }, 10000));
    return id;
}

}  // namespace

TEST(TimerThreadTest, SlowTicksNeverOverlapAndHoldAndStopWaitForThem) {
    for (void (*end)(TimerId) : {stop_timer, hold_timer}) {
        TimerId id = start_and_wait_for_a_tick();
        end(id);
        EXPECT_EQ(running, 0) << "returned while a tick ran";
        int seen = ticks;
        usleep(300 * 1000);
        EXPECT_EQ(ticks, seen);
        stop_timer(id);
    }
    EXPECT_EQ(most_running, 1);
    EXPECT_TRUE(other_thread);
}

// A child forked while a tick runs has no timer thread; holding and
// stopping there must not wait for the parent's tick.
TEST(TimerThreadTest, ForkedChildStopsWithoutWaiting) {
    TimerId id = start_and_wait_for_a_tick();
    pid_t child = fork();
    if (child == 0) {
        alarm(5);
        hold_timer(id);
        stop_timer(id);
        _exit(0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    stop_timer(id);
}
