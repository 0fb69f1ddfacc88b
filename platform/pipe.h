// platform/pipe.h: the host's message pipe, from both ends.
//   Windows: the named pipe "\\.\pipe\MIRT_HOST_PIPE" in message mode.
//   POSIX: a SOCK_SEQPACKET Unix-domain socket named MIRT_HOST_PIPE in the
//   per-user runtime folder; the socket type keeps message boundaries.
#ifndef MIRT_PLATFORM_PIPE_H
#define MIRT_PLATFORM_PIPE_H

#include <cstddef>
#include <cstdint>

namespace mirt::platform {

// One end of one pipe connection; invalid_pipe means none.
using PipeHandle = intptr_t;
extern const PipeHandle invalid_pipe;

// The host end. Waits for the next client and gives its connection.
//   connected: *connection is a connected end, owned by the caller;
//   retry: this attempt failed (the error text is fetched and dropped), try again;
//   failed: the server can accept no more clients.
enum class AcceptResult { connected, retry, failed };
AcceptResult accept_pipe_client(PipeHandle* connection);
// Stops a server that waits in accept_pipe_client, where the system allows
// it (POSIX: the socket's name is removed and the waiting accept wakes and
// fails). On Windows the server is not woken: it ends after a further
// connection, when it sees the process ending.
void stop_pipe_server();

// The client end. absent: no host (no pipe, or nobody serves it); busy:
// every instance is in use.
enum class PipeOpen { opened, busy, absent };
PipeOpen open_host_pipe(PipeHandle* pipe);
// Waits up to ms milliseconds for a free instance; false when none came.
bool wait_for_host_pipe(unsigned ms);
// Switches the client end to message reads; false on failure.
bool set_message_mode(PipeHandle pipe);

// One message each way. write_message sends n bytes and is true only when
// all of them went; read_message returns the bytes read (0 when the other end
// closed) or -1 on failure.
bool write_message(PipeHandle pipe, const void* data, size_t n);
long read_message(PipeHandle pipe, void* buffer, size_t size);
void close_pipe(PipeHandle pipe);

// The host end's guards against a client that does not play by the rules.
// read_message_within is read_message that gives up (-1) when nothing came
// within ms milliseconds. peer_process_id gives the process at the other end
// of a connection, as the system knows it; false where it cannot tell.
long read_message_within(PipeHandle pipe, void* buffer, size_t size, unsigned ms);
bool peer_process_id(PipeHandle pipe, uint32_t* pid);

}  // namespace mirt::platform

#endif
