// lifecycle.cpp: attach and detach of the library, and the process's role.
#include "lifecycle.h"

#include <cstdlib>
#include <string>

#include "autodump.h"
#include "error_log.h"
#include "files.h"
#include "mirt64.h"
#include "modules.h"
#include "point_table.h"
#include "process.h"
#include "source_lines.h"
#include "text.h"

namespace mirt {

int is_host = 0;
bool automation_mode = false;
int roles_started = 0;
bool exiting = false;
bool registered_with_host = false;
bool shutdown_writing_allowed = true;
char process_data_name[process_data_name_size];
const char* exit_output_path = platform::default_exit_output_path;
platform::Lock file_line_lock;
platform::Lock merge_lock;

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

void run_static_initialisers() {
    is_host = is_host_process() ? 1 : 0;
    automation_mode = platform::get_environment("CodeCoverageAutomation", nullptr);
    own_record();
    merged_points();
    static_registrations();
    module_registry();
    module_names();
    file_line_table();
}

void process_attach() {
    set_own_client_number(-1);
    if (!roles_started) {
        // The shell starts no role threads; the host and client roles are
        // started here once collection is built into the library.
        roles_started = 1;
    }
    merge_lock.init();
    file_line_lock.init();
    if (is_host && !automation_mode) start_autodump();
}

void process_detach() {
    exiting = true;
    // On POSIX the timer has a thread of its own: no tick may run while the
    // tables below are written and released.
    if (is_host && !automation_mode) hold_autodump();
    if (shutdown_writing_allowed) mirt_write_coverage_data(exit_output_path);
    // The source-line table is not released here: it lives as long as the process.
    destroy_all_modules();
    free_point_table();
    free_merged_points();
    close_error_log();
    merge_lock.destroy();
    file_line_lock.destroy();
    if (is_host && !automation_mode) stop_autodump();
}

void host_side_write() {}

void host_side_clear() {}

}  // namespace mirt
