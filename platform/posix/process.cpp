// process.cpp (POSIX): process queries. This file holds only POSIX code.
#include "process.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace mirt::platform {

size_t module_base_name(char* buffer, size_t size) {
    if (buffer == nullptr || size == 0) return 0;
    buffer[0] = '\0';
    char path[4096];
    ssize_t n = readlink("/proc/self/exe", path, sizeof path - 1);
    if (n <= 0) return 0;
    path[n] = '\0';
    const char* base = strrchr(path, '/');
    base = base != nullptr ? base + 1 : path;
    size_t length = strlen(base);
    if (length > size - 1) length = size - 1;
    memcpy(buffer, base, length);
    buffer[length] = '\0';
    return length;
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
