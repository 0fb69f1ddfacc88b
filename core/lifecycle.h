// lifecycle.h: attach and detach of the library, and the role the process plays in a run.
#ifndef MIRT_CORE_LIFECYCLE_H
#define MIRT_CORE_LIFECYCLE_H

#include <cstdint>

#include "names.h"
#include "threads.h"

namespace mirt {

extern int is_host;                    // this process gathers the others' counts
extern bool automation_mode;           // "CodeCoverageAutomation" is defined
extern int roles_started;              // the role threads were started (once)
extern bool exiting;                   // detach has begun
extern bool registered_with_host;      // the host gave this client a number
extern bool shutdown_writing_allowed;  // detach writes the exit output file

inline constexpr int process_data_name_size = 100;
// The process's data name as built at attach ("mirt_<name>_data_<pid>_-1");
// the fallback test name of every write.
extern char process_data_name[process_data_name_size];
// Path of the output file that detach writes; writable so that it can be
// pointed elsewhere.
extern const char* exit_output_path;

extern platform::Lock file_line_lock;  // serialises the source-line probes
extern platform::Lock merge_lock;      // serialises merges of data files

ClientRecord& own_record();

// What the C++ start-up of the library decides before attach: the role flags
// and the empty containers.
void run_static_initialisers();
void process_attach();
void process_detach();

// True when the main module's base name equals "MIRTHOST" (default
// "pelvanor.exe"), without regard to case.
bool is_host_process();
// True when the main module's base name is "explorer.exe", without regard to case.
bool is_shell_process();
const char* get_process_data_name();

// With -1: refreshes the own record (name, pid, id -1) and rebuilds
// process_data_name. With any other number: stores only the id.
void set_own_client_number(int32_t number);

// In the host, gathers the clients' counts before a write; elsewhere nothing.
void host_side_write();
// In the host, makes every client clear before the host clears; elsewhere nothing.
void host_side_clear();

}  // namespace mirt

#endif
