// role.cpp: the choice of the process's role and the start of its background threads.
#include "startup/role.h"

#include <string>

#include "core/clear.h"
#include "core/error_log.h"
#include "platform/files.h"
#include "ipc/client.h"
#include "ipc/host.h"
#include "platform/process.h"
#include "core/process_state.h"
#include "platform/text.h"
#include "output/write_driver.h"

namespace mirt {

Role process_role = Role::stand_alone;

namespace {
constexpr size_t base_name_buffer = 512;  // at most 511 characters

void gather_for_write() { gather_from_clients(exiting); }
}  // namespace

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

namespace {
// A private folder of this user that someone else has taken switches
// collection off; that is said once, not left unexplained. checked: the
// folder was looked at already (a client's search for its host does).
void report_taken_folder(bool checked) {
    char folder[512];
    if (!checked && platform::temp_folder(folder, sizeof folder)) return;
    if (const char* taken = platform::refused_private_folder())
        MIRT_REPORT_REFUSED_AS(taken, "a private folder");
}
}  // namespace

// A failed registration leaves the process stand-alone.
Role start_role() {
    // The shell takes no part in collection, even as the configured host.
    bool shell = is_shell_process();
    if (is_host) {
        if (!shell) report_taken_folder(false);
        gather_before_write = gather_for_write;
        clear_other_processes = clear_clients;
        if (!shell) start_host_pipe_server();
        return Role::host;
    }
    if (shell) return Role::stand_alone;
    if (connect_to_host()) {
        start_client_listener();
        return Role::client;
    }
    report_taken_folder(true);
    return Role::stand_alone;
}

}  // namespace mirt
