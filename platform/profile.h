// platform/profile.h: what auto-dump asks of the system: the user's profile folder, the
// computer's and the executable's names for a run, and the INI file of its settings.
#ifndef MIRT_PLATFORM_PROFILE_H
#define MIRT_PLATFORM_PROFILE_H

#include <cstddef>
#include <cstdint>

namespace mirt::platform {

// The user's profile folder ("%USERPROFILE%" on Windows; $HOME, else the
// password database's home folder, on POSIX) into buffer, at most size - 1
// characters. False, with buffer emptied, when it cannot be got or does not
// fit.
bool user_profile_folder(char* buffer, size_t size);

// The computer's name into buffer, at most size - 1 characters (a longer
// name is cut). False, with buffer emptied, when it cannot be got.
bool computer_name(char* buffer, size_t size);

// File version of the process's executable: major, minor, build, revision.
// False when the executable has no version information or it cannot be read.
bool executable_file_version(uint16_t version[4]);

// Reads key of section from the INI file at path into buffer, at most
// size - 1 characters (a longer value is cut). Section and key names match
// without regard to case; the value is trimmed of blanks and of one pair of
// enclosing quotes. A missing file, section or key gives default_value.
// Returns the number of characters copied.
size_t read_profile_string(const char* section, const char* key, const char* default_value, char* buffer,
                           size_t size, const char* path);

// Sets key of section to value in the INI file at path: creates the file,
// the section or the key when missing, otherwise replaces the value in
// place. False when the file cannot be read or written, or when a name or
// the value is absent (nothing is deleted).
bool write_profile_string(const char* section, const char* key, const char* value, const char* path);

}  // namespace mirt::platform

#endif
