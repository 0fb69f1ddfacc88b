// runtime_folder.cpp (POSIX): the per-user runtime folder, checked at every use.
// This file holds only POSIX code.
#include "platform/posix/runtime_folder.h"
#include "platform/seldom_used.h"

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace mirt::platform {

namespace {
// The first refusal's path; readable once the state is 2 (1: being written).
MIRT_SELDOM_USED("refused_folder") char refused_folder[4096];
std::atomic<int> refusal_state{0};

// Appends text to buffer at *length; false when it does not fit with the
// terminating zero.
bool append(char* buffer, size_t size, size_t* length, const char* text) {
    size_t n = strlen(text);
    if (n >= size - *length) return false;
    memcpy(buffer + *length, text, n + 1);
    *length += n;
    return true;
}
}  // namespace

const char* refused_runtime_folder() { return refusal_state == 2 ? refused_folder : nullptr; }

// Built in the caller's buffer, without formatted printing: a short process
// pays for every page that its start touches.
bool runtime_folder(char* buffer, size_t size, bool create) {
    if (buffer == nullptr || size == 0) return false;
    buffer[0] = '\0';
    // $TMPDIR, else /tmp: the folder shared by every user.
    const char* temp = getenv("TMPDIR");
    if (temp == nullptr || temp[0] == '\0') temp = "/tmp";
    char uid[24];
    char* digit = uid + sizeof uid - 1;
    *digit = '\0';
    const uid_t user = getuid();
    for (unsigned value = static_cast<unsigned>(user);; value /= 10) {
        *--digit = static_cast<char>('0' + value % 10);
        if (value < 10) break;
    }
    size_t length = 0;
    // Without its trailing slash, so that lstat sees a link rather than its target.
    if (!append(buffer, size, &length, temp) ||
        !append(buffer, size, &length, temp[strlen(temp) - 1] == '/' ? "mirt-" : "/mirt-") ||
        !append(buffer, size, &length, digit) || length + 1 >= size || length >= sizeof refused_folder) {
        buffer[0] = '\0';
        return false;
    }
    // Looked at first: it exists after its first use, and a process that only
    // looks for a host need not make it.
    struct stat info;
    if (lstat(buffer, &info) != 0 &&
        (errno != ENOENT || !create || (mkdir(buffer, 0700) != 0 && errno != EEXIST) || lstat(buffer, &info) != 0)) {
        buffer[0] = '\0';
        return false;
    }
    if (!S_ISDIR(info.st_mode) || info.st_uid != user || (info.st_mode & 077) != 0) {
        int none = 0;
        if (refusal_state.compare_exchange_strong(none, 1)) {
            memcpy(refused_folder, buffer, length + 1);
            refusal_state = 2;
        }
        buffer[0] = '\0';
        return false;
    }
    buffer[length] = '/';
    buffer[length + 1] = '\0';
    return true;
}

bool runtime_path(const char* name, char* buffer, size_t size, bool create) {
    if (name == nullptr || !runtime_folder(buffer, size, create)) return false;
    size_t length = strlen(buffer);
    if (append(buffer, size, &length, name)) return true;
    buffer[0] = '\0';
    return false;
}

}  // namespace mirt::platform
