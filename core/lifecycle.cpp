// lifecycle.cpp: attach and detach of the library, and the process's role.
#include "lifecycle.h"

#include <cstdlib>
#include <string>

#include "autodump.h"
#include "client.h"
#include "error_log.h"
#include "files.h"
#include "host.h"
#include "mirt64.h"
#include "modules.h"
#include "pipe.h"
#include "point_table.h"
#include "process.h"
#include "source_lines.h"
#include "text.h"

namespace mirt {

int is_host = 0;
bool automation_mode = false;
int roles_started = 0;
std::atomic<bool> exiting{false};
bool registered_with_host = false;
bool shutdown_writing_allowed = true;
char process_data_name[process_data_name_size];
const char* exit_output_path = platform::default_exit_output_path;
platform::Lock file_line_lock;
platform::Lock merge_lock;
platform::Lock collection_lock;
std::atomic<bool> collection_closed{false};
platform::Lock gather_serial_lock;
platform::Lock gather_lock;
bool threads_gone_at_exit = false;

namespace {
constexpr size_t base_name_buffer = 512;  // at most 511 characters
}

ClientRecord& own_record() {
    // Never destroyed: the exit path and, on POSIX, threads still running
    // after the static destructors may read it.
    static auto* record = new ClientRecord;
    return *record;
}

bool is_host_process() {
    char name[base_name_buffer];
    size_t length = platform::module_base_name(name, sizeof name);
    std::string host;
    if (!platform::get_environment("MIRTHOST", &host)) host = "pelvanor.exe";
    return length != 0 && ascii_casecmp(host.c_str(), name) == 0;
}

bool is_shell_process() {
    char name[base_name_buffer];
    if (platform::module_base_name(name, sizeof name) == 0) return false;
    return ascii_casecmp(name, "explorer.exe") == 0;
}

const char* get_process_data_name() { return process_data_name; }

void set_own_client_number(int32_t number) {
    ClientRecord& record = own_record();
    if (number != -1) {
        record.id = number;
        return;
    }
    char name[base_name_buffer];
    platform::module_base_name(name, sizeof name);
    record.name = name;
    record.pid = platform::current_process_id();
    record.id = -1;
    // The data name is cut to the buffer: a base name of 100 bytes or more
    // (an executable name of some 80 characters) would not fit whole.
    if (char* data_name = make_data_base_name(record)) {
        copy_bounded(process_data_name, data_name, process_data_name_size - 1);
        free(data_name);
    }
}

namespace {
// The locks that live as long as the process, created once.
void create_lasting_locks() {
    static bool created = false;
    if (created) return;
    created = true;
    collection_lock.init();
    gather_serial_lock.init();
    gather_lock.init();
}

// Collection's threads end their work here: after this none of them touches
// a table or a lock that detach releases.
void close_collection() {
    platform::LockHold hold(collection_lock);
    collection_closed = true;
}
}  // namespace

void run_static_initialisers() {
    create_lasting_locks();
    is_host = is_host_process() ? 1 : 0;
    automation_mode = platform::get_environment("CodeCoverageAutomation", nullptr);
    own_record();
    merged_points();
    static_registrations();
    module_registry();
    module_names();
    file_line_table();
}

// Every lock exists before a role thread starts. A failed registration
// leaves the process stand-alone.
void process_attach() {
    create_lasting_locks();
    set_own_client_number(-1);
    merge_lock.init();
    file_line_lock.init();
    if (!roles_started) {
        if (is_shell_process()) {
            // the shell takes no part in collection
        } else if (is_host) {
            start_host_pipe_server();
        } else if (connect_to_host()) {
            start_client_listener();
        }
        roles_started = 1;
    }
    if (is_host && !automation_mode) start_autodump();
}

void process_detach(bool threads_gone) {
    if (threads_gone) {
        // The ended threads may have held these; nobody else runs now.
        threads_gone_at_exit = true;
        collection_lock.init();
        gather_serial_lock.init();
        gather_lock.init();
        merge_lock.init();
        file_line_lock.init();
    }
    exiting = true;
    // On POSIX the timer has a thread of its own: no tick may run while the
    // tables below are written and released.
    if (is_host && !automation_mode) hold_autodump();
    if (!is_host && registered_with_host) {
        // The listener may be answering a request: it finishes first, then
        // stops, and the final data is this thread's.
        close_collection();
        hand_over_data(own_record(), true);
    }
    // No client registers after this; the exit write below gathers the
    // final data of those that did.
    if (is_host) platform::stop_pipe_server();
    if (shutdown_writing_allowed) mirt_write_coverage_data(exit_output_path);
    close_collection();
    // The source-line table is not released here: it lives as long as the process.
    destroy_all_modules();
    free_point_table();
    free_merged_points();
    close_error_log();
    if (is_host) destroy_client_registry(threads_gone);
    merge_lock.destroy();
    file_line_lock.destroy();
    if (is_host && !automation_mode) stop_autodump();
}

void host_side_write() {
    if (is_host) gather_from_clients(exiting);
}

void host_side_clear() {
    if (is_host) clear_clients();
}

}  // namespace mirt
