// process.cpp (Windows): process queries. This file holds only Windows code.
#include "process.h"

#include <cstdlib>

#include "windows_api.h"

namespace mirt::platform {

size_t module_base_name(char* buffer, size_t size) {
    if (buffer == nullptr || size == 0) return 0;
    DWORD n = GetModuleBaseNameA(GetCurrentProcess(), nullptr, buffer, static_cast<DWORD>(size - 1));
    buffer[n < size ? n : size - 1] = '\0';
    return n;
}

uint32_t current_process_id() { return GetCurrentProcessId(); }

// The C runtime's copy of the environment, which _dupenv_s reads too.
bool get_environment(const char* name, std::string* value) {
    const char* text = getenv(name);
    if (text == nullptr) return false;
    if (value != nullptr) *value = text;
    return true;
}

uint64_t own_creation_time() {
    FILETIME creation{}, exit_time{}, kernel{}, user{};
    GetProcessTimes(GetCurrentProcess(), &creation, &exit_time, &kernel, &user);
    return (static_cast<uint64_t>(creation.dwHighDateTime) << 32) | creation.dwLowDateTime;
}

}  // namespace mirt::platform
