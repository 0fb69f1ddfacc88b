// attach.cpp: attach and detach of the library.
#include "startup/attach.h"

#include "autodump/autodump.h"
#include "core/clear.h"
#include "ipc/client.h"
#include "ipc/collection.h"
#include "platform/entry.h"
#include "core/error_log.h"
#include "platform/files.h"
#include "ipc/host.h"
#include "core/index_file.h"
#include "mirt64.h"
#include "core/modules.h"
#include "platform/pipe.h"
#include "core/point_table.h"
#include "platform/process.h"
#include "core/process_state.h"
#include "startup/role.h"
#include "startup/settings.h"
#include "core/source_lines.h"
#include "core/trace.h"
#include "output/write_driver.h"

namespace mirt {

const char* exit_output_path = platform::default_exit_output_path;

namespace {
bool runs_autodump() { return process_role == Role::host && !automation_mode; }

// Before the exit write, the role's background work stops or hands over.
void wind_down_role() {
    switch (process_role) {
    case Role::host:
        // On POSIX the timer has a thread of its own: no tick may run while
        // the tables are written and released.
        if (runs_autodump()) hold_autodump();
        // No client registers after this; the exit write gathers the final
        // data of those that did.
        platform::stop_pipe_server();
        break;
    case Role::client:
        // The listener may be answering a request: it finishes first, then
        // stops, and the final data is this thread's.
        close_collection();
        hand_over_data(own_record(), true);
        break;
    case Role::stand_alone:
        break;
    }
}

// The source-line table is not released: it lives as long as the process.
// Where other threads may still be inside a probe, nothing that a probe
// reaches is freed (the point table, the modules' counters, the merged
// points, the error log's stream): the process's end releases them.
void release_stores() {
    if (platform::probes_may_run_at_detach) return;
    destroy_all_modules();
    free_point_table();
    free_merged_points();
    close_error_log();
}
}  // namespace

void run_static_initialisers() {
    create_collection_locks();
    is_host = is_host_process() ? 1 : 0;
    automation_mode = platform::get_environment("CodeCoverageAutomation", nullptr);
    read_test_name_setting();
    own_record();
    merged_points();
    static_registrations();
    module_registry();
    module_names();
    file_line_table();
}

// Every lock exists before a role thread starts.
void process_attach() {
    create_collection_locks();
    set_own_client_number(-1);
    merge_lock.init();
    file_line_lock.init();
    if (!roles_started) {
        process_role = start_role();
        roles_started = 1;
    }
    if (runs_autodump()) start_autodump();
}

void process_detach(bool threads_gone) {
    if (threads_gone) {
        // The ended threads may have held these; nobody else runs now.
        threads_gone_at_exit = true;
        recreate_collection_locks();
        merge_lock.init();
        file_line_lock.init();
    }
    exiting = true;
    wind_down_role();
    if (shutdown_writing_allowed) write_exit_output(exit_file_path(exit_output_path).c_str());
    close_collection();
    release_stores();
    if (process_role == Role::host) destroy_client_registry(threads_gone);
    if (!platform::probes_may_run_at_detach) {
        merge_lock.destroy();
        file_line_lock.destroy();
    }
    if (runs_autodump()) stop_autodump();
}

// The tables are held still across fork(), so that the child's copy is whole.
// A write closes the index under merge_lock: the index's lock comes after it.
void process_forking() {
    merge_lock.lock();
    lock_index_stream();
    file_line_lock.lock();
}

// The child counts from zero: its parent's hits are the parent's to write or
// hand over. It takes no part in its parent's collection: a client's child
// runs stand-alone under its own process id, and a host's child leaves the
// parent's clients, events and pipe alone.
void process_forked(bool child) {
    if (child) {
        clear_own_counts(true);
        drop_buffered_trace();
    }
    file_line_lock.unlock();
    unlock_index_stream();
    merge_lock.unlock();
    if (!child) return;
    // Threads that held these in the parent do not exist in the child.
    recreate_collection_locks();
    if (process_role == Role::client) leave_host_after_fork();
    if (process_role == Role::host) {
        forget_clients_after_fork();
        gather_before_write = nullptr;
        clear_other_processes = nullptr;
    }
    process_role = Role::stand_alone;
}

}  // namespace mirt

void mirt::platform::library_loaded() {
    run_static_initialisers();
    process_attach();
}

void mirt::platform::library_unloading(bool threads_gone) { process_detach(threads_gone); }
void mirt::platform::process_forking() { mirt::process_forking(); }
void mirt::platform::process_forked(bool child) { mirt::process_forked(child); }
