// events.cpp (POSIX): named events as FIFOs in the per-user runtime folder. This file holds only POSIX code.
//
// A byte in the FIFO is the signal. Creator and openers hold the FIFO open
// for reading and writing without blocking, so opening never waits and a
// signal persists while anyone holds it. A wait polls, then drains: the
// waiter that drains a byte takes the signal; one that drains nothing lost
// the race to another waiter and waits again.
#include "platform/events.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "platform/posix/runtime_folder.h"

namespace mirt::platform {

namespace {

struct FifoEvent {
    int fd;
    bool creator;
    bool manual_reset;
    std::string path;
};

FifoEvent* as_event(EventHandle handle) { return reinterpret_cast<FifoEvent*>(handle); }

EventHandle open_fifo(const char* path, bool creator, bool manual_reset) {
    int fd = open(path, O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return 0;
    struct stat info;
    if (fstat(fd, &info) != 0 || !S_ISFIFO(info.st_mode)) {
        close(fd);
        return 0;
    }
    auto* event = new (std::nothrow) FifoEvent;
    if (event == nullptr) {
        close(fd);
        return 0;
    }
    event->fd = fd;
    event->creator = creator;
    event->manual_reset = manual_reset;
    event->path = path;
    return reinterpret_cast<EventHandle>(event);
}

// Reads every byte that is waiting; true when there was at least one.
bool drain(int fd) {
    char bytes[64];
    bool took = false;
    for (;;) {
        ssize_t n = read(fd, bytes, sizeof bytes);
        if (n > 0) {
            took = true;
            continue;
        }
        if (n < 0 && errno == EINTR) continue;
        return took;
    }
}

int64_t now_ms() {
    timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return static_cast<int64_t>(t.tv_sec) * 1000 + t.tv_nsec / 1000000;
}

}  // namespace

// A FIFO left behind by an ended process is replaced, so that an old signal
// is never taken for a new one.
EventHandle create_event(const char* name, bool manual_reset, bool initial) {
    char path[4096];
    if (name == nullptr || !runtime_path(name, path, sizeof path)) return 0;
    unlink(path);
    if (mkfifo(path, 0600) != 0 && errno != EEXIST) return 0;
    EventHandle event = open_fifo(path, true, manual_reset);
    if (event != 0 && initial) set_event(event);
    return event;
}

EventHandle open_event(const char* name) {
    char path[4096];
    if (name == nullptr || !runtime_path(name, path, sizeof path)) return 0;
    return open_fifo(path, false, false);
}

// A full FIFO is already signalled.
bool set_event(EventHandle handle) {
    FifoEvent* event = as_event(handle);
    if (event == nullptr) return false;
    char byte = 1;
    for (;;) {
        if (write(event->fd, &byte, 1) == 1) return true;
        if (errno == EINTR) continue;
        return errno == EAGAIN;
    }
}

void close_event(EventHandle handle) {
    FifoEvent* event = as_event(handle);
    if (event == nullptr) return;
    if (event->creator) unlink(event->path.c_str());
    close(event->fd);
    delete event;
}

void remove_event_name(EventHandle handle) {
    FifoEvent* event = as_event(handle);
    if (event != nullptr && event->creator) {
        unlink(event->path.c_str());
        event->creator = false;
    }
}

int wait_any(const EventHandle* events, int n, unsigned timeout_ms) {
    if (events == nullptr || n <= 0) return wait_failed;
    std::vector<pollfd> fds;
    std::vector<int> index;
    for (int i = 0; i < n; ++i) {
        if (FifoEvent* event = as_event(events[i])) {
            fds.push_back({event->fd, POLLIN, 0});
            index.push_back(i);
        }
    }
    if (fds.empty()) return wait_failed;
    const bool forever = timeout_ms == wait_forever;
    const int64_t deadline = now_ms() + timeout_ms;
    for (;;) {
        int64_t left = forever ? -1 : deadline - now_ms();
        if (!forever && left < 0) left = 0;
        int ready = poll(fds.data(), fds.size(), forever ? -1 : static_cast<int>(left));
        if (ready < 0) {
            if (errno == EINTR) continue;
            return wait_failed;
        }
        if (ready == 0) return wait_timeout;
        for (size_t k = 0; k < fds.size(); ++k) {
            if ((fds[k].revents & POLLIN) == 0) continue;
            FifoEvent* event = as_event(events[index[k]]);
            if (event->manual_reset || drain(event->fd)) return index[k];
        }
        if (!forever && now_ms() >= deadline) return wait_timeout;
    }
}

// The events are taken one after the other, each within what is left of the time.
bool wait_all(const EventHandle* events, int n, unsigned timeout_ms) {
    if (events == nullptr || n <= 0) return false;
    const int64_t deadline = now_ms() + timeout_ms;
    for (int i = 0; i < n; ++i) {
        if (events[i] == 0) return false;
        int64_t left = deadline - now_ms();
        if (timeout_ms == wait_forever) left = wait_forever;
        if (left < 0) left = 0;
        if (wait_any(&events[i], 1, static_cast<unsigned>(left)) != 0) return false;
    }
    return true;
}

}  // namespace mirt::platform
