// platform/process.h: what the runtime asks of the operating system about processes.
#ifndef MIRT_PLATFORM_PROCESS_H
#define MIRT_PLATFORM_PROCESS_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace mirt::platform {

// Base name of the current process's main module (for example "pelvanor.exe")
// into buffer, at most size - 1 characters and a terminator. Returns the
// length, or 0 when the name cannot be got.
size_t module_base_name(char* buffer, size_t size);

uint32_t current_process_id();

// Reads an environment variable. Returns false when it is not defined.
bool get_environment(const char* name, std::string* value);

// Creation time of the current process as one 64-bit value (FILETIME on
// Windows, the start time in clock ticks since boot on POSIX).
uint64_t own_creation_time();

}  // namespace mirt::platform

#endif
