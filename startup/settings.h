// settings.h: the runtime's opt-in settings from the environment. Unset, the
// runtime behaves exactly as without them.
//   MIRT_EXIT_FILE  the file that the exit write appends to, as a pattern:
//                   %p the process id, %h the computer's name, %e the program's
//                   base name (without ".exe"), %% a percent sign.
//   MIRT_TEST_NAME  the test name of every write for which the program set none
//                   (in place of the process's data name).
#ifndef MIRT_STARTUP_SETTINGS_H
#define MIRT_STARTUP_SETTINGS_H

#include <cstdint>
#include <string>

namespace mirt {

// Reads MIRT_TEST_NAME into the process state; called once at attach.
void read_test_name_setting();

// The path of the exit write: MIRT_EXIT_FILE expanded when it is set and not
// empty, else fixed_path. Read at each call, so that a forked child names its own.
std::string exit_file_path(const char* fixed_path);

// Expands the pattern's %p, %h, %e and %%; any other % stays as written, and
// the result is cut at 4,095 characters.
std::string expand_file_pattern(const std::string& pattern, uint32_t pid, const char* host, const char* program);

}  // namespace mirt

#endif
