// platform/timer.h: the periodic timer that drives auto-dump.
#ifndef MIRT_PLATFORM_TIMER_H
#define MIRT_PLATFORM_TIMER_H

#include <cstdint>

namespace mirt::platform {

// Identifies an armed timer; 0 means none.
using TimerId = uintptr_t;

// Arms a periodic timer that calls callback every interval_ms milliseconds
// until it is stopped. Intervals are taken as the Windows thread timer takes
// them: below 10 ms they become 10 ms, above 0x7FFFFFFF ms they become
// 0x7FFFFFFF ms. The callback never runs concurrently with itself.
//   Windows: a thread timer without a window (SetTimer). It belongs to the
//   calling thread and fires only while that thread retrieves and dispatches
//   messages, inside the dispatch.
//   POSIX: a timer thread of its own calls the callback.
// The process has one timer at a time: while one is armed, another start
// fails. Returns the timer's identifier, or 0 when it could not be armed.
TimerId start_timer(uint32_t interval_ms, void (*callback)());

// Lets no further tick begin and, if a tick is running on another thread,
// waits for it to end. The timer stays armed until stop_timer. Detach calls
// this before it writes and releases the tables that a tick uses.
void hold_timer(TimerId id);

// Disarms the timer: once this returns, its callback is not running on
// another thread and never runs again. Unknown identifiers are ignored.
void stop_timer(TimerId id);

}  // namespace mirt::platform

#endif
