// files.cpp (Windows): files, folders and the fixed paths. This file holds only Windows code.
#include "platform/files.h"

#include <fcntl.h>
#include <io.h>

#include "platform/windows/windows_api.h"

namespace mirt::platform {

const char* const default_index_path = "c:/temp/index.txt";
const char* const default_error_log_path = "c:/temp/mirt_err.txt";
const char* const default_exit_output_path = "c:\\temp\\mirt_exit.out";
const char* const trace_file_default_name = "trace.out";
const char directory_separator = '\\';
const FileHandle invalid_file = reinterpret_cast<FileHandle>(INVALID_HANDLE_VALUE);

namespace {
// The system's text for the last error is fetched and dropped: failures of
// folder creation are silent by design, but the call is still made.
void fetch_and_discard_error_text() {
    char* text = nullptr;
    FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                   nullptr, GetLastError(), MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT),
                   reinterpret_cast<char*>(&text), 0, nullptr);
    if (text != nullptr) LocalFree(text);
}
}  // namespace

FileHandle create_write_file(const char* path, bool* refused) {
    if (refused != nullptr) *refused = false;
    HANDLE h = CreateFileA(path, FILE_WRITE_DATA, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    return reinterpret_cast<FileHandle>(h);
}

FileHandle open_append_file(const char* path, bool* refused) {
    if (refused != nullptr) *refused = false;
    HANDLE h = CreateFileA(path, FILE_APPEND_DATA, 0, nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    return reinterpret_cast<FileHandle>(h);
}

FILE* open_runtime_stream(const char* path, const char* mode, bool* refused) {
    if (refused != nullptr) *refused = false;
    return fopen(path, mode);
}

// The C library's append mode seeks to the end and then writes, so that two
// processes may both write where one of them found the end. The stream holds
// a lock of the file until it is closed: appends take their turns. The lock
// is of a byte far past any data (readers are not held up); a process that
// ends holding it releases it with its handles.
namespace {
OVERLAPPED append_lock_place() {
    OVERLAPPED at{};
    at.OffsetHigh = 0x7FFFFFFF;
    return at;
}
}  // namespace

FILE* open_append_stream(const char* path, bool, bool* refused) {
    if (refused != nullptr) *refused = false;
    HANDLE handle = CreateFileA(path, FILE_READ_DATA | FILE_APPEND_DATA | SYNCHRONIZE,
                                FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_ALWAYS,
                                FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        fetch_and_discard_error_text();
        return nullptr;
    }
    OVERLAPPED at = append_lock_place();
    if (!LockFileEx(handle, LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &at)) fetch_and_discard_error_text();
    int fd = _open_osfhandle(reinterpret_cast<intptr_t>(handle), _O_APPEND | _O_BINARY);
    if (fd == -1) {
        CloseHandle(handle);
        return nullptr;
    }
    FILE* stream = _fdopen(fd, "ab");
    if (stream == nullptr) _close(fd);
    return stream;
}

int close_append_stream(FILE* stream) {
    int flushed = fflush(stream);
    OVERLAPPED at = append_lock_place();
    UnlockFileEx(reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream))), 0, 1, 0, &at);
    int closed = fclose(stream);
    return flushed != 0 ? flushed : closed;
}

FILE* create_private_stream(const char* path) { return fopen(path, "wb"); }

bool write_file(FileHandle file, const void* data, size_t n) {
    if (file == 0 || file == invalid_file) return false;
    DWORD written = 0;
    BOOL ok = WriteFile(reinterpret_cast<HANDLE>(file), data, static_cast<DWORD>(n), &written, nullptr);
    return ok && written == n;
}

bool close_file(FileHandle file) {
    // The invalid handle is refused here on every system alike, so that a
    // failed creation reports the same way wherever the runtime runs.
    if (file == 0 || file == invalid_file) return false;
    return CloseHandle(reinterpret_cast<HANDLE>(file)) != 0;
}

bool path_exists(const char* path) { return path != nullptr && _access(path, 0) == 0; }

bool create_directory(const char* path) {
    if (CreateDirectoryA(path, nullptr)) return true;
    fetch_and_discard_error_text();
    return false;
}

bool delete_file(const char* path) { return DeleteFileA(path) != 0; }

bool temp_folder(char* buffer, size_t size) {
    if (buffer == nullptr || size < 2) return false;
    DWORD limit = static_cast<DWORD>(size - 1 < 255 ? size - 1 : 255);
    DWORD n = GetTempPathA(limit, buffer);
    if (n == 0 || n > limit) {
        buffer[0] = '\0';
        return false;
    }
    return true;
}

}  // namespace mirt::platform

namespace mirt::platform {

const char* refused_private_folder() { return nullptr; }

uint32_t shared_read_file_size(const char* path) {
    HANDLE h = CreateFileA(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) return 0xFFFFFFFFu;
    DWORD size = GetFileSize(h, nullptr);
    CloseHandle(h);
    return size;
}

}  // namespace mirt::platform
