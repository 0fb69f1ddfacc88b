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

// Whether another process can be opened for queries.
bool process_can_be_opened(uint32_t pid);
// Opens process pid and reports the base name of its main module (exact case,
// at most size - 1 characters) and whether it has ended. False when the
// process cannot be opened.
bool query_process(uint32_t pid, char* name, size_t size, bool* ended);

// Fetches the text of the last system error and drops it: failures of the
// multi-process exchange are silent.
void drop_last_error_text();

}  // namespace mirt::platform

#endif
