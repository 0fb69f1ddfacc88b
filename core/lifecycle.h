// lifecycle.h: attach and detach of the library, and the role the process plays in a run.
#ifndef MIRT_CORE_LIFECYCLE_H
#define MIRT_CORE_LIFECYCLE_H

#include <atomic>
#include <cstdint>

#include "names.h"
#include "threads.h"

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
// Path of the output file that detach writes; writable so that it can be
// pointed elsewhere.
extern const char* exit_output_path;

extern platform::Lock file_line_lock;  // serialises the source-line probes
extern platform::Lock merge_lock;      // serialises merges of data files with each other and with writes and clears

// Collection's background threads (the host's monitors and connections, the
// client's listener) do their work under collection_lock and only while
// collection_closed is false; detach closes collection before it releases
// the tables, so that no such thread touches a table or a lock after that.
// The lock also guards the host's registry of clients. It is created once
// and never deleted. Locks are taken in the order gather_serial_lock,
// collection_lock, merge_lock, file_line_lock.
extern platform::Lock collection_lock;
extern std::atomic<bool> collection_closed;
extern platform::Lock gather_serial_lock;  // one gather or client clear at a time
extern platform::Lock gather_lock;         // guards the count of answers a gather waits for
// Set by a detach that runs after every other thread of the process was
// ended (Windows, at process exit): nothing may wait on them then.
extern bool threads_gone_at_exit;

ClientRecord& own_record();

// What the C++ start-up of the library decides before attach: the role flags
// and the empty containers.
void run_static_initialisers();
void process_attach();
// threads_gone: the process is ending and its other threads are already gone
// (Windows); they may have left locks held, and nobody else will run.
void process_detach(bool threads_gone = false);

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
