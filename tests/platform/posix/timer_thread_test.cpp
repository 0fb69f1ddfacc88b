// Tests of the POSIX timer thread: it ticks on a thread of its own without any message
// loop, and a forked child does not wait for its parent's tick. This file holds only
// POSIX code.
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <atomic>

#include "platform/timer.h"
#include "tests/support/test_support.h"

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
    EXPECT_TRUE(mirt_test::run_in_forked_child([id] {
        alarm(5);  // a wait for the parent's tick would end the child here
        hold_timer(id);
        stop_timer(id);
    }));
    stop_timer(id);
}
