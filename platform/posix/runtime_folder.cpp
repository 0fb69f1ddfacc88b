// runtime_folder.cpp (POSIX): the per-user runtime folder, checked at every use.
// This file holds only POSIX code.
#include "platform/posix/runtime_folder.h"

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace mirt::platform {

namespace {
// $TMPDIR, else /tmp, with a trailing slash: the folder shared by every user.
bool shared_temp_folder(char* buffer, size_t size) {
    const char* folder = getenv("TMPDIR");
    if (folder == nullptr || folder[0] == '\0') folder = "/tmp";
    size_t length = strlen(folder);
    bool slash = folder[length - 1] == '/';
    if (length + (slash ? 0 : 1) > size - 1) return false;
    memcpy(buffer, folder, length);
    if (!slash) buffer[length++] = '/';
    buffer[length] = '\0';
    return true;
}
}  // namespace

namespace {
// The first refusal's path; readable once the state is 2 (1: being written).
char refused_folder[4096];
std::atomic<int> refusal_state{0};
}  // namespace

const char* refused_runtime_folder() { return refusal_state == 2 ? refused_folder : nullptr; }

bool runtime_folder(char* buffer, size_t size) {
    if (buffer == nullptr || size == 0) return false;
    buffer[0] = '\0';
    char temp[4096];
    if (!shared_temp_folder(temp, sizeof temp)) return false;
    char path[4096];
    // Without its trailing slash, so that lstat sees a link rather than its target.
    int n = snprintf(path, sizeof path, "%smirt-%u", temp, static_cast<unsigned>(getuid()));
    if (n <= 0 || static_cast<size_t>(n) + 1 >= size || static_cast<size_t>(n) + 1 >= sizeof path) return false;
    if (mkdir(path, 0700) != 0 && errno != EEXIST) return false;
    struct stat info;
    if (lstat(path, &info) != 0) return false;
    if (!S_ISDIR(info.st_mode) || info.st_uid != getuid() || (info.st_mode & 077) != 0) {
        int none = 0;
        if (refusal_state.compare_exchange_strong(none, 1)) {
            memcpy(refused_folder, path, static_cast<size_t>(n) + 1);
            refusal_state = 2;
        }
        return false;
    }
    memcpy(buffer, path, static_cast<size_t>(n));
    buffer[n] = '/';
    buffer[n + 1] = '\0';
    return true;
}

bool runtime_path(const char* name, char* buffer, size_t size) {
    char folder[4096];
    if (!runtime_folder(folder, sizeof folder)) return false;
    int n = snprintf(buffer, size, "%s%s", folder, name);
    return n > 0 && static_cast<size_t>(n) < size;
}

}  // namespace mirt::platform
