// Tests of the Windows thread timer: it fires only inside the message dispatch of the
// thread that armed it. This file holds only Windows code.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "tests/support/test_support.h"
#include "platform/timer.h"
#include "platform/windows/windows_api.h"

using namespace mirt::platform;

namespace {
std::atomic<int> ticks{0};
std::atomic<DWORD> tick_thread{0};
void tick() {
    ++ticks;
    tick_thread = GetCurrentThreadId();
}
}  // namespace

// Neither waiting without a message loop nor another thread's loop runs it.
TEST(ThreadTimerTest, FiresOnlyInsideTheOwningThreadsDispatch) {
    TimerId id = start_timer(20, tick);
    ASSERT_NE(id, 0u);
    Sleep(200);
    std::thread([] { mirt_test::pump_for(200); }).join();
    EXPECT_EQ(ticks, 0);
    EXPECT_TRUE(mirt_test::pump_until([] { return ticks >= 2; }, 10000));
    EXPECT_EQ(tick_thread, GetCurrentThreadId());
    stop_timer(id);
}
