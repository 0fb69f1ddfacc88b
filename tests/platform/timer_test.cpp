// Tests of the periodic timer, the same on every system: the tests run this thread's
// message loop, inside which a Windows thread timer fires.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "tests/support/test_support.h"
#include "platform/timer.h"

using namespace mirt::platform;
using namespace mirt_test;

namespace {

std::atomic<int> ticks{0}, running{0}, most_running{0};
void count_tick() { ++ticks; }
// A tick five times as long as the interval.
void slow_tick() {
    int now = ++running;
    if (now > most_running) most_running = now;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    ++ticks;
    --running;
}

class TimerTest : public ::testing::Test {
protected:
    void TearDown() override { stop_timer(id); }
    TimerId id = 0;
};

}  // namespace

// A stopped timer ticks no more, nor does a held one, and both wait for a
// tick that runs on another thread (POSIX); ticks never overlap. The process
// has one timer at a time; a stop of another identifier is ignored.
TEST_F(TimerTest, TicksUntilStoppedOrHeldOneAtATime) {
    for (void (*end)(TimerId) : {stop_timer, hold_timer}) {
        ticks = 0;
        id = start_timer(20, slow_tick);
        ASSERT_NE(id, 0u);
        EXPECT_EQ(start_timer(20, count_tick), 0u);
        stop_timer(id + 1);
        EXPECT_TRUE(pump_until([] { return ticks >= 2; }, 10000));
        pump_until([] { return running == 1; }, 200);  // seen only where ticks run elsewhere
        end(id);
        EXPECT_EQ(running, 0) << "returned while a tick ran";
        int seen = ticks;
        pump_for(300);
        EXPECT_EQ(ticks, seen);
        stop_timer(id);
    }
    EXPECT_EQ(most_running, 1);
    EXPECT_EQ(start_timer(20, nullptr), 0u);
}

// One tick per ten milliseconds that passed, and one more for a tick that
// came due while the pump was ending; a 1 ms timer would give ten times as many.
TEST_F(TimerTest, IntervalsBelowTenMillisecondsBecomeTen) {
    const auto started = std::chrono::steady_clock::now();
    id = start_timer(0, count_tick);
    ASSERT_NE(id, 0u);
    pump_for(300);
    stop_timer(id);
    const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(
                             std::chrono::steady_clock::now() - started).count();
    EXPECT_GE(ticks, 1);
    EXPECT_LE(ticks, elapsed / 10 + 2) << elapsed << " ms";
}
