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

class TimerThreadTest : public ::testing::Test {
protected:
    void SetUp() override { test_thread = pthread_self(); }
    void TearDown() override { stop_timer(id); }
    TimerId id = 0;
};

}  // namespace

TEST_F(TimerThreadTest, SlowTicksNeverOverlapAndStopWaitsForThem) {
    id = start_timer(20, slow_tick);
    ASSERT_NE(id, 0u);
    ASSERT_TRUE(mirt_test::pump_until([] { return running == 1 && ticks >= 2; }, 10000));
    stop_timer(id);
    EXPECT_EQ(running, 0) << "stop returned while a tick ran";
    int seen = ticks;
    usleep(300 * 1000);
    EXPECT_EQ(ticks, seen);
    EXPECT_EQ(most_running, 1);
    EXPECT_TRUE(other_thread);
}

TEST_F(TimerThreadTest, HoldWaitsForTheRunningTick) {
    id = start_timer(20, slow_tick);
    ASSERT_TRUE(mirt_test::pump_until([] { return running == 1; }, 10000));
    hold_timer(id);
    EXPECT_EQ(running, 0);
    int seen = ticks;
    usleep(200 * 1000);
    EXPECT_EQ(ticks, seen);
}

// A child forked while a tick runs has no timer thread; holding and
// stopping there must not wait for the parent's tick.
TEST_F(TimerThreadTest, ForkedChildStopsWithoutWaiting) {
    id = start_timer(20, slow_tick);
    ASSERT_TRUE(mirt_test::pump_until([] { return running == 1; }, 10000));
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
}
