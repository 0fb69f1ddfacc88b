// platform/events.h: named auto-reset events shared between processes, and waits on them.
//   Windows: CreateEventA / OpenEventA / SetEvent / WaitForMultipleObjects.
//   POSIX: FIFOs named after the events in the per-user runtime folder; a
//   byte in the FIFO is the signal.
#ifndef MIRT_PLATFORM_EVENTS_H
#define MIRT_PLATFORM_EVENTS_H

#include <cstdint>

namespace mirt::platform {

// An open event; 0 means none.
using EventHandle = intptr_t;

// Creates (or opens, when it exists) the event. 0 on failure.
EventHandle create_event(const char* name, bool manual_reset, bool initial);
// Opens an existing event; 0 when there is none of that name.
EventHandle open_event(const char* name);
bool set_event(EventHandle event);
// Closes the handle; the creator's close also removes the name (POSIX).
void close_event(EventHandle event);
// Removes the event's name while the handle stays usable (POSIX: the
// creator's FIFO leaves the runtime folder); nothing on Windows, where a
// name goes with its last handle.
void remove_event_name(EventHandle event);

inline constexpr int wait_timeout = 258;  // WAIT_TIMEOUT
inline constexpr int wait_failed = -1;
inline constexpr unsigned wait_forever = 0xFFFFFFFFu;

// Waits until one of the n events is signalled and takes its signal (an
// auto-reset event is reset). Returns the index of that event, wait_timeout
// after timeout_ms, or wait_failed. Windows takes at most 64 events; POSIX has
// no limit. Null handles are skipped (POSIX) or make the wait fail (Windows).
int wait_any(const EventHandle* events, int n, unsigned timeout_ms);
// Waits until all n events are signalled; false on time-out or failure.
bool wait_all(const EventHandle* events, int n, unsigned timeout_ms);

}  // namespace mirt::platform

#endif
