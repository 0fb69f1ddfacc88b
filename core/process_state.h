// process_state.h: what every part of the runtime reads about the process: its flags,
// its data name and the two locks of the stores. A leaf: it includes no other part of
// the runtime but the platform.
#ifndef MIRT_CORE_PROCESS_STATE_H
#define MIRT_CORE_PROCESS_STATE_H

#include <atomic>

#include "platform/threads.h"

namespace mirt {

extern int is_host;                    // this process gathers the others' counts
extern bool automation_mode;           // "CodeCoverageAutomation" is defined
extern int roles_started;              // the role threads were started (once)
extern std::atomic<bool> exiting;      // detach has begun
extern bool registered_with_host;      // the host gave this client a number
extern bool shutdown_writing_allowed;  // detach writes the exit output file

inline constexpr int process_data_name_size = 100;
// The process's data name as built at attach ("mirt_<name>_data_<pid>_-1");
// the fallback test name of every write.
extern char process_data_name[process_data_name_size];
const char* get_process_data_name();

inline constexpr int environment_test_name_size = 256;
// The test name that the environment gives (empty when none): used in place of
// the data name by every write for which the program set no test name.
extern char environment_test_name[environment_test_name_size];
// The test name of a write when the program set none.
const char* fallback_test_name();

// Created at attach and deleted at detach. Locks are taken in the order
// merge_lock, file_line_lock (after collection's own, see collection.h).
extern platform::Lock file_line_lock;  // serialises the source-line probes
extern platform::Lock merge_lock;      // serialises merges of data files with each other and with writes and clears

}  // namespace mirt

#endif
