// pipe.cpp (POSIX): the host's pipe as a SOCK_SEQPACKET Unix-domain socket in the
// per-user runtime folder. This file holds only POSIX code.
#include "platform/pipe.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>

#include "platform/posix/runtime_folder.h"
#include "platform/threads.h"

namespace mirt::platform {

const PipeHandle invalid_pipe = -1;

namespace {

constexpr const char* socket_name = "MIRT_HOST_PIPE";

int listener = -1;
std::atomic<bool> stopping{false};
sockaddr_un listener_address{};

// Only the host makes the folder: without it there is no host to find.
bool host_address(sockaddr_un* address, bool create) {
    memset(address, 0, sizeof *address);
    address->sun_family = AF_UNIX;
    return runtime_path(socket_name, address->sun_path, sizeof address->sun_path, create);
}

// The socket left by a host that ended is replaced.
bool start_listening() {
    if (!host_address(&listener_address, true)) return false;
    int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    if (fd < 0) return false;
    unlink(listener_address.sun_path);
    if (bind(fd, reinterpret_cast<sockaddr*>(&listener_address), sizeof listener_address) != 0 ||
        listen(fd, SOMAXCONN) != 0) {
        close(fd);
        return false;
    }
    listener = fd;
    return true;
}

}  // namespace

AcceptResult accept_pipe_client(PipeHandle* connection) {
    if (stopping) return AcceptResult::failed;
    if (listener < 0 && !start_listening()) return AcceptResult::failed;
    int fd = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (stopping) {
        if (fd >= 0) close(fd);
        return AcceptResult::failed;
    }
    if (fd < 0) {
        // Out of descriptors or an aborted connection: the next one may work.
        if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) sleep_ms(100);
        return errno == EBADF || errno == EINVAL || errno == ENOTSOCK ? AcceptResult::failed : AcceptResult::retry;
    }
    *connection = fd;
    return AcceptResult::connected;
}

// A connection of our own wakes the waiting accept; the name is then removed,
// so later clients find no host. The listening socket stays open: the
// server thread may still be about to use it.
void stop_pipe_server() {
    if (listener < 0 || stopping.exchange(true)) return;
    int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd >= 0) {
        connect(fd, reinterpret_cast<sockaddr*>(&listener_address), sizeof listener_address);
        close(fd);
    }
    unlink(listener_address.sun_path);
}

// The connection is made without blocking, so that a full backlog shows as
// EAGAIN (busy) instead of a wait; the connected end then blocks as usual.
PipeOpen open_host_pipe(PipeHandle* pipe) {
    sockaddr_un address;
    if (!host_address(&address, false)) return PipeOpen::absent;
    int fd = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) return PipeOpen::absent;
    if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        int error = errno;
        close(fd);
        return error == EAGAIN ? PipeOpen::busy : PipeOpen::absent;
    }
    fcntl(fd, F_SETFL, 0);  // O_NONBLOCK was the only status flag set
    *pipe = fd;
    return PipeOpen::opened;
}

bool wait_for_host_pipe(unsigned ms) {
    sleep_ms(ms);
    return true;
}

bool set_message_mode(PipeHandle) { return true; }

bool write_message(PipeHandle pipe, const void* data, size_t n) {
    for (;;) {
        ssize_t sent = send(static_cast<int>(pipe), data, n, MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) continue;
        return sent == static_cast<ssize_t>(n);
    }
}

long read_message(PipeHandle pipe, void* buffer, size_t size) {
    for (;;) {
        ssize_t got = recv(static_cast<int>(pipe), buffer, size, 0);
        if (got < 0 && errno == EINTR) continue;
        return static_cast<long>(got);
    }
}

void close_pipe(PipeHandle pipe) {
    if (pipe >= 0) close(static_cast<int>(pipe));
}

long read_message_within(PipeHandle pipe, void* buffer, size_t size, unsigned ms) {
    pollfd wait{static_cast<int>(pipe), POLLIN, 0};
    int ready;
    while ((ready = poll(&wait, 1, static_cast<int>(ms))) < 0 && errno == EINTR) {
    }
    if (ready <= 0) return -1;
    return read_message(pipe, buffer, size);
}

bool peer_process_id(PipeHandle pipe, uint32_t* pid) {
#ifdef SO_PEERCRED
    ucred peer{};
    socklen_t length = sizeof peer;
    if (getsockopt(static_cast<int>(pipe), SOL_SOCKET, SO_PEERCRED, &peer, &length) != 0 || peer.pid <= 0) return false;
    *pid = static_cast<uint32_t>(peer.pid);
    return true;
#else
    (void)pipe;
    (void)pid;
    return false;
#endif
}

}  // namespace mirt::platform
