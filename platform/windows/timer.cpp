// timer.cpp (Windows): the window-less thread timer. This file holds only Windows code.
#include "platform/timer.h"

#include "platform/windows/windows_api.h"

namespace mirt::platform {

namespace {
// The one armed timer. A thread timer fires only inside the message
// dispatch of the thread that armed it, so the callback cannot overlap
// itself, and detach (which dispatches nothing) never meets a tick.
UINT_PTR armed_id = 0;
void (*armed_callback)() = nullptr;
bool held = false;

// The timer procedure; its arguments are not needed.
VOID CALLBACK timer_procedure(HWND, UINT, UINT_PTR id, DWORD) {
    if (id == armed_id && !held && armed_callback != nullptr) armed_callback();
}
}  // namespace

TimerId start_timer(uint32_t interval_ms, void (*callback)()) {
    if (armed_id != 0 || callback == nullptr) return 0;
    // SetTimer itself brings the interval into 10 .. 0x7FFFFFFF ms.
    UINT_PTR id = SetTimer(nullptr, 0, interval_ms, timer_procedure);
    if (id == 0) return 0;
    armed_callback = callback;
    armed_id = id;
    held = false;
    return id;
}

// Nothing can be running on another thread: ticks happen only inside the
// owning thread's message dispatch. Later dispatches are turned away.
void hold_timer(TimerId id) {
    if (id != 0 && id == armed_id) held = true;
}

void stop_timer(TimerId id) {
    if (id == 0 || id != armed_id) return;
    KillTimer(nullptr, id);
    armed_id = 0;
    armed_callback = nullptr;
}

}  // namespace mirt::platform
