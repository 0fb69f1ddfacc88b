// process.cpp (Windows): process queries. This file holds only Windows code.
#include "platform/process.h"

#include <cstdlib>

#include "platform/windows/windows_api.h"

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

namespace mirt::platform {

bool process_can_be_opened(uint32_t pid) {
    HANDLE process = OpenProcess(PROCESS_QUERY_INFORMATION, FALSE, pid);
    if (process == nullptr) return false;
    CloseHandle(process);
    return true;
}

bool query_process(uint32_t pid, char* name, size_t size, bool* ended) {
    if (name == nullptr || size == 0) return false;
    HANDLE process = OpenProcess(SYNCHRONIZE | PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, pid);
    if (process == nullptr) return false;
    DWORD n = GetModuleBaseNameA(process, nullptr, name, static_cast<DWORD>(size - 1));
    name[n < size ? n : size - 1] = '\0';
    if (ended != nullptr) *ended = WaitForSingleObject(process, 0) == WAIT_OBJECT_0;
    CloseHandle(process);
    return true;
}

void drop_last_error_text() {
    char* text = nullptr;
    FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                   GetLastError(), MAKELANGID(LANG_NEUTRAL, SUBLANG_DEFAULT), reinterpret_cast<LPSTR>(&text), 0,
                   nullptr);
    if (text != nullptr) LocalFree(text);
}

}  // namespace mirt::platform
