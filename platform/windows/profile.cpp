// profile.cpp (Windows): profile folder, computer name, executable version and INI files
// through the system's own calls. This file holds only Windows code.
#include "platform/profile.h"

#include <cstring>
#include <vector>

#include "platform/windows/windows_api.h"

namespace mirt::platform {

namespace {
void clear(char* buffer, size_t size) {
    if (buffer != nullptr && size > 0) buffer[0] = '\0';
}
}  // namespace

// An undefined USERPROFILE is left as the text "%USERPROFILE%", as the
// system's expansion leaves it.
bool user_profile_folder(char* buffer, size_t size) {
    if (buffer == nullptr || size == 0) return false;
    DWORD n = ExpandEnvironmentStringsA("%USERPROFILE%", buffer, static_cast<DWORD>(size));
    if (n == 0 || n > size) {
        clear(buffer, size);
        return false;
    }
    return true;
}

bool computer_name(char* buffer, size_t size) {
    if (buffer == nullptr || size == 0) return false;
    char name[MAX_COMPUTERNAME_LENGTH + 256];
    DWORD n = sizeof name;
    if (!GetComputerNameA(name, &n)) {
        clear(buffer, size);
        return false;
    }
    size_t length = n < size - 1 ? n : size - 1;
    memcpy(buffer, name, length);
    buffer[length] = '\0';
    return true;
}

bool executable_file_version(uint16_t version[4]) {
    char path[256];
    DWORD n = GetModuleFileNameA(nullptr, path, 255);
    if (n == 0 || n >= 255) return false;
    path[n] = '\0';
    DWORD ignored = 0;
    DWORD size = GetFileVersionInfoSizeA(path, &ignored);
    if (size == 0) return false;
    std::vector<char> data(size);
    if (!GetFileVersionInfoA(path, 0, size, data.data())) return false;
    VS_FIXEDFILEINFO* info = nullptr;
    UINT length = 0;
    if (!VerQueryValueA(data.data(), "\\", reinterpret_cast<void**>(&info), &length) || info == nullptr ||
        length < sizeof(VS_FIXEDFILEINFO))
        return false;
    version[0] = HIWORD(info->dwFileVersionMS);
    version[1] = LOWORD(info->dwFileVersionMS);
    version[2] = HIWORD(info->dwFileVersionLS);
    version[3] = LOWORD(info->dwFileVersionLS);
    return true;
}

size_t read_profile_string(const char* section, const char* key, const char* default_value, char* buffer,
                           size_t size, const char* path) {
    if (buffer == nullptr || size == 0) return 0;
    if (section == nullptr || key == nullptr || path == nullptr) {
        // The system would list the section or key names instead.
        buffer[0] = '\0';
        return 0;
    }
    return GetPrivateProfileStringA(section, key, default_value, buffer, static_cast<DWORD>(size), path);
}

// Absent names or values are refused rather than passed on, where the
// system would take them as requests to delete a key or a section.
bool write_profile_string(const char* section, const char* key, const char* value, const char* path) {
    if (section == nullptr || key == nullptr || value == nullptr || path == nullptr) return false;
    return WritePrivateProfileStringA(section, key, value, path) != 0;
}

}  // namespace mirt::platform
