// files.cpp (POSIX): files, folders and the fixed paths. This file holds only POSIX code.
#include "platform/files.h"
#include "platform/posix/runtime_folder.h"

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

namespace {
// Opens a runtime file in a folder that others may write to. The final name
// is not followed if it is a link, and a FIFO or device cannot block the
// open; what was opened is kept only if it is a regular file of the
// effective user with one name (a hard link planted by another user would
// lead to a file of ours elsewhere). A missing file is created with O_EXCL
// when create is set, so that nothing planted between the two opens is
// used. -1 with *refused set when something else is at the path; -1 alone
// when the open fails as any open may.
int open_guarded(const char* path, int access, bool create, bool* refused) {
    bool dummy;
    if (refused == nullptr) refused = &dummy;
    *refused = false;
    const int flags = access | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    int fd = -1;
    for (int attempt = 0; attempt < 3 && fd < 0; ++attempt) {
        fd = open(path, flags);
        if (fd >= 0 || errno != ENOENT || !create) break;
        fd = open(path, flags | O_CREAT | O_EXCL, 0666);
        if (fd < 0 && errno != EEXIST) break;  // EEXIST: made meanwhile, look at it again
    }
    if (fd < 0) {
        // A link at the path, or a FIFO without a reader opened for writing.
        *refused = errno == ELOOP || errno == ENXIO;
        return -1;
    }
    struct stat info;
    bool own = fstat(fd, &info) == 0 && S_ISREG(info.st_mode) && info.st_uid == geteuid() && info.st_nlink == 1;
    // Of the flags that F_SETFL sets, only O_APPEND was asked for.
    if (!own || fcntl(fd, F_SETFL, access & O_APPEND) != 0) {
        *refused = !own;
        close(fd);
        return -1;
    }
    return fd;
}
}  // namespace

// Truncated only once it is known to be the user's own regular file.
FileHandle create_write_file(const char* path, bool* refused) {
    int fd = open_guarded(path, O_WRONLY, true, refused);
    if (fd >= 0 && ftruncate(fd, 0) != 0) {
        close(fd);
        fd = -1;
    }
    return fd;
}

FileHandle open_append_file(const char* path, bool* refused) {
    return open_guarded(path, O_WRONLY | O_APPEND, true, refused);
}

FILE* open_runtime_stream(const char* path, const char* mode, bool* refused) {
    bool append = mode[0] == 'a';
    int fd = open_guarded(path, append ? O_RDWR | O_APPEND : O_RDONLY, append, refused);
    if (fd < 0) return nullptr;
    FILE* stream = fdopen(fd, mode);
    if (stream == nullptr) close(fd);
    return stream;
}

// O_APPEND: each write() lands whole at the file's end.
FILE* open_append_stream(const char* path, bool runtime_file, bool* refused) {
    if (runtime_file) return open_runtime_stream(path, "a+b", refused);
    if (refused != nullptr) *refused = false;
    return fopen(path, "a+b");
}

int close_append_stream(FILE* stream) { return fclose(stream); }

// The folder is the user's alone, so the name, once removed, stays free
// until the exclusive create takes it.
FILE* create_private_stream(const char* path) {
    unlink(path);
    int fd = open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0) return nullptr;
    FILE* stream = fdopen(fd, "wb");
    if (stream == nullptr) close(fd);
    return stream;
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

// Clients' data files live in the user's private runtime folder, where no
// other user can plant anything in their place.
bool temp_folder(char* buffer, size_t size) { return runtime_folder(buffer, size); }

const char* refused_private_folder() { return refused_runtime_folder(); }

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
