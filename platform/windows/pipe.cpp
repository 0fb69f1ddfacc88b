// pipe.cpp (Windows): the host's named pipe in message mode. This file holds only Windows code.
#include "platform/pipe.h"

#include "platform/windows/windows_api.h"

namespace mirt::platform {

const PipeHandle invalid_pipe = reinterpret_cast<PipeHandle>(INVALID_HANDLE_VALUE);

namespace {
const char* const pipe_name = "\\\\.\\pipe\\MIRT_HOST_PIPE";
HANDLE as_handle(PipeHandle pipe) { return reinterpret_cast<HANDLE>(pipe); }

HANDLE new_instance() {
    return CreateNamedPipeA(pipe_name, PIPE_ACCESS_DUPLEX, PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE | PIPE_WAIT,
                            PIPE_UNLIMITED_INSTANCES, 4096, 4096, 0, nullptr);
}
// The instance that the next accept waits on, made before the last
// connection was handed on (only the server thread touches it).
HANDLE next_instance = INVALID_HANDLE_VALUE;
}  // namespace

// A client that finds no instance at all takes the host for absent and runs
// on unregistered; one that finds them all busy waits. So the next instance
// is made while the connected one still exists, before its connection
// thread answers and closes it: between two instances there was a moment
// without any, in which clients starting side by side went unregistered.
AcceptResult accept_pipe_client(PipeHandle* connection) {
    HANDLE pipe = next_instance != INVALID_HANDLE_VALUE ? next_instance : new_instance();
    next_instance = INVALID_HANDLE_VALUE;
    if (pipe == INVALID_HANDLE_VALUE) return AcceptResult::failed;
    if (!ConnectNamedPipe(pipe, nullptr) && GetLastError() != ERROR_PIPE_CONNECTED) {
        CloseHandle(pipe);
        return AcceptResult::retry;
    }
    next_instance = new_instance();  // a failure here is met at the next accept
    *connection = reinterpret_cast<PipeHandle>(pipe);
    return AcceptResult::connected;
}

void stop_pipe_server() {}

PipeOpen open_host_pipe(PipeHandle* pipe) {
    HANDLE handle = CreateFileA(pipe_name, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    if (handle == INVALID_HANDLE_VALUE) return GetLastError() == ERROR_PIPE_BUSY ? PipeOpen::busy : PipeOpen::absent;
    *pipe = reinterpret_cast<PipeHandle>(handle);
    return PipeOpen::opened;
}

bool wait_for_host_pipe(unsigned ms) { return WaitNamedPipeA(pipe_name, ms) != 0; }

bool set_message_mode(PipeHandle pipe) {
    DWORD mode = PIPE_READMODE_MESSAGE;
    return SetNamedPipeHandleState(as_handle(pipe), &mode, nullptr, nullptr) != 0;
}

bool write_message(PipeHandle pipe, const void* data, size_t n) {
    DWORD written = 0;
    return WriteFile(as_handle(pipe), data, static_cast<DWORD>(n), &written, nullptr) && written == n;
}

long read_message(PipeHandle pipe, void* buffer, size_t size) {
    DWORD got = 0;
    if (!ReadFile(as_handle(pipe), buffer, static_cast<DWORD>(size), &got, nullptr)) return -1;
    return static_cast<long>(got);
}

void close_pipe(PipeHandle pipe) {
    if (pipe != invalid_pipe && pipe != 0) CloseHandle(as_handle(pipe));
}

// Looked at every 20 ms until a message waits: the pipe is not opened for
// overlapped reads, which a read with a time-out would need.
long read_message_within(PipeHandle pipe, void* buffer, size_t size, unsigned ms) {
    for (unsigned waited = 0;; waited += 20) {
        DWORD waiting = 0;
        if (!PeekNamedPipe(as_handle(pipe), nullptr, 0, nullptr, &waiting, nullptr)) return -1;
        if (waiting > 0) return read_message(pipe, buffer, size);
        if (waited >= ms) return -1;
        Sleep(20);
    }
}

bool peer_process_id(PipeHandle pipe, uint32_t* pid) {
    ULONG id = 0;
    if (!GetNamedPipeClientProcessId(as_handle(pipe), &id) || id == 0) return false;
    *pid = id;
    return true;
}

}  // namespace mirt::platform
