// events.cpp (Windows): named events and waits on them. This file holds only Windows code.
#include "platform/events.h"

#include "platform/windows/windows_api.h"

namespace mirt::platform {

namespace {
HANDLE as_handle(EventHandle event) { return reinterpret_cast<HANDLE>(event); }
}  // namespace

EventHandle create_event(const char* name, bool manual_reset, bool initial) {
    return reinterpret_cast<EventHandle>(CreateEventA(nullptr, manual_reset, initial, name));
}

EventHandle open_event(const char* name) {
    return reinterpret_cast<EventHandle>(OpenEventA(EVENT_ALL_ACCESS, FALSE, name));
}

bool set_event(EventHandle event) { return event != 0 && SetEvent(as_handle(event)); }

void close_event(EventHandle event) {
    if (event != 0) CloseHandle(as_handle(event));
}

void remove_event_name(EventHandle) {}

int wait_any(const EventHandle* events, int n, unsigned timeout_ms) {
    if (events == nullptr || n <= 0) return wait_failed;
    DWORD result = WaitForMultipleObjects(static_cast<DWORD>(n), reinterpret_cast<const HANDLE*>(events), FALSE,
                                          timeout_ms);
    if (result == WAIT_TIMEOUT) return wait_timeout;
    if (result < WAIT_OBJECT_0 + static_cast<DWORD>(n)) return static_cast<int>(result - WAIT_OBJECT_0);
    return wait_failed;
}

bool wait_all(const EventHandle* events, int n, unsigned timeout_ms) {
    if (events == nullptr || n <= 0) return false;
    DWORD result = WaitForMultipleObjects(static_cast<DWORD>(n), reinterpret_cast<const HANDLE*>(events), TRUE,
                                          timeout_ms);
    return result < WAIT_OBJECT_0 + static_cast<DWORD>(n);
}

}  // namespace mirt::platform
