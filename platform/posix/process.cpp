// process.cpp (POSIX): process queries. This file holds only POSIX code.
#include "platform/process.h"

#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/text.h"

namespace mirt::platform {

namespace {
// Copies the base name of the program that the link (/proc/<pid>/exe) points
// to into buffer (size > 0), cut to fit; -1 when the link cannot be read.
ssize_t exe_base_name(const char* link, char* buffer, size_t size) {
    char target[4096];
    ssize_t n = readlink(link, target, sizeof target - 1);
    if (n <= 0) return -1;
    target[n] = '\0';
    const char* base = strrchr(target, '/');
    base = base != nullptr ? base + 1 : target;
    size_t length = strlen(base);
    if (length > size - 1) length = size - 1;
    memcpy(buffer, base, length);
    buffer[length] = '\0';
    return static_cast<ssize_t>(length);
}
}  // namespace

// The program's name is read once: it stays the same across fork(), and a
// new program image loads the library afresh. Start-up asks for it several
// times, and each read of the link costs a short process.
size_t module_base_name(char* buffer, size_t size) {
    static char name[NAME_MAX + 1];
    static std::atomic<int> state{0};  // 1: being kept, 2: kept
    if (buffer == nullptr || size == 0) return 0;
    buffer[0] = '\0';
    char found[NAME_MAX + 1];
    const char* source = name;
    if (state.load(std::memory_order_acquire) != 2) {
        if (exe_base_name("/proc/self/exe", found, sizeof found) < 0) return 0;
        source = found;
        int none = 0;
        if (state.compare_exchange_strong(none, 1)) {
            memcpy(name, found, sizeof name);
            state.store(2, std::memory_order_release);
        }
    }
    return copy_bounded(buffer, source, size - 1);
}

uint32_t current_process_id() { return static_cast<uint32_t>(getpid()); }

bool get_environment(const char* name, std::string* value) {
    const char* text = getenv(name);
    if (text == nullptr) return false;
    if (value != nullptr) *value = text;
    return true;
}

uint64_t own_creation_time() {
    // Field 22 of /proc/self/stat: start time in clock ticks after boot. The
    // command name (field 2) may hold spaces and parentheses, so counting
    // starts after its last closing parenthesis.
    FILE* f = fopen("/proc/self/stat", "r");
    if (f == nullptr) return 0;
    char text[2048];
    size_t n = fread(text, 1, sizeof text - 1, f);
    fclose(f);
    text[n] = '\0';
    const char* p = strrchr(text, ')');
    if (p == nullptr) return 0;
    for (int field = 2; field < 22 && p != nullptr; ++field) p = strchr(p + 1, ' ');
    return p != nullptr ? strtoull(p + 1, nullptr, 10) : 0;
}

}  // namespace mirt::platform

namespace mirt::platform {

namespace {
bool process_exists(uint32_t pid) {
    if (pid == 0 || static_cast<pid_t>(pid) <= 0) return false;
    return kill(static_cast<pid_t>(pid), 0) == 0 || errno == EPERM;
}
}  // namespace

bool process_can_be_opened(uint32_t pid) { return process_exists(pid); }

// The process is found with kill(pid, 0), its name is the base name of
// /proc/<pid>/exe, and a zombie counts as ended.
bool query_process(uint32_t pid, char* name, size_t size, bool* ended) {
    if (name == nullptr || size == 0 || !process_exists(pid)) return false;
    char path[64];
    snprintf(path, sizeof path, "/proc/%u/exe", pid);
    if (exe_base_name(path, name, size) < 0) return false;
    bool zombie = false;
    snprintf(path, sizeof path, "/proc/%u/stat", pid);
    if (FILE* f = fopen(path, "r")) {
        char text[1024];
        size_t got = fread(text, 1, sizeof text - 1, f);
        fclose(f);
        text[got] = '\0';
        const char* p = strrchr(text, ')');
        zombie = p != nullptr && p[1] == ' ' && p[2] == 'Z';
    }
    if (ended != nullptr) *ended = zombie;
    return true;
}

void drop_last_error_text() {}

}  // namespace mirt::platform
