// Tests of the POSIX timer thread: it ticks on a thread of its own without any message
// loop, and a forked child does not wait for its parent's tick. This file holds only
// POSIX code.
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>

#include "platform/timer.h"

using namespace mirt::platform;

namespace {
std::atomic<int> running{0};
std::atomic<bool> other_thread{false};
pthread_t test_thread;
void slow_tick() {
    ++running;
    other_thread = !pthread_equal(pthread_self(), test_thread);
    usleep(100 * 1000);
    --running;
}
}  // namespace

// A child forked while a tick runs has no timer thread; holding and stopping
// there must not wait for the parent's tick.
TEST(TimerThreadTest, TicksOnItsOwnThreadAndAForkedChildStopsWithoutWaiting) {
    test_thread = pthread_self();
    TimerId id = start_timer(20, slow_tick);
    for (int i = 0; i < 1000 && running == 0; ++i) usleep(10 * 1000);
    ASSERT_EQ(running, 1);
    EXPECT_TRUE(other_thread);
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
