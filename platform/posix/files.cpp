// files.cpp (POSIX): files, folders and the fixed paths. This file holds only POSIX code.
#include "files.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

namespace mirt::platform {

const char* const default_index_path = "/tmp/index.txt";
const char* const default_error_log_path = "/tmp/mirt_err.txt";
const char* const default_exit_output_path = "/tmp/mirt_exit.out";
const char* const trace_file_default_name = "trace.out";
const char directory_separator = '/';
const FileHandle invalid_file = -1;

FileHandle create_write_file(const char* path) {
    return open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
}

FileHandle open_append_file(const char* path) {
    return open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
}

bool write_file(FileHandle file, const void* data, size_t n) {
    if (file == 0 || file == invalid_file) return false;
    const char* p = static_cast<const char*>(data);
    while (n > 0) {
        ssize_t done = write(static_cast<int>(file), p, n);
        if (done < 0 && errno == EINTR) continue;
        if (done <= 0) return false;
        p += done;
        n -= static_cast<size_t>(done);
    }
    return true;
}

bool close_file(FileHandle file) {
    if (file == 0 || file == invalid_file) return false;
    return close(static_cast<int>(file)) == 0;
}

bool path_exists(const char* path) { return path != nullptr && access(path, F_OK) == 0; }

bool create_directory(const char* path) { return mkdir(path, 0777) == 0; }

bool delete_file(const char* path) { return unlink(path) == 0; }

bool temp_folder(char* buffer, size_t size) {
    if (buffer == nullptr || size < 2) return false;
    const char* folder = getenv("TMPDIR");
    if (folder == nullptr || folder[0] == '\0') folder = "/tmp";
    size_t length = strlen(folder);
    bool slash = folder[length - 1] == '/';
    if (length + (slash ? 0 : 1) > size - 1) {
        buffer[0] = '\0';
        return false;
    }
    memcpy(buffer, folder, length);
    if (!slash) buffer[length++] = '/';
    buffer[length] = '\0';
    return true;
}

}  // namespace mirt::platform

namespace mirt::platform {

// Opened without blocking, so that a FIFO at the path cannot stall the
// caller; anything but a regular file counts as not openable, as a folder
// does on Windows.
uint32_t shared_read_file_size(const char* path) {
    int fd = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return 0xFFFFFFFFu;
    struct stat info;
    bool regular = fstat(fd, &info) == 0 && S_ISREG(info.st_mode);
    close(fd);
    if (!regular) return 0xFFFFFFFFu;
    return static_cast<uint32_t>(static_cast<uint64_t>(info.st_size) & 0xFFFFFFFFu);
}

}  // namespace mirt::platform
