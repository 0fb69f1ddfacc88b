// client.cpp: registration with the host, the listener thread and the hand-over of counts.
#include "ipc/client.h"

#include <cstdlib>
#include <cstring>
#include <string>

#include "ipc/collection.h"
#include "ipc/data_file.h"
#include "core/error_log.h"
#include "platform/events.h"
#include "mirt64.h"
#include "platform/pipe.h"
#include "platform/process.h"
#include "core/process_state.h"
#include "platform/text.h"
#include "platform/threads.h"

namespace mirt {

namespace {
constexpr size_t base_name_buffer = 512;  // at most 511 characters
}

ClientRecord& own_record() {
    // Never destroyed: the exit path and, on POSIX, threads still running
    // after the static destructors may read it.
    static auto* record = new ClientRecord;
    return *record;
}

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
    if (OwnedName data_name = make_data_base_name(record))
        copy_bounded(process_data_name, data_name.get(), process_data_name_size - 1);
}

void report_last_error(const char*) { platform::drop_last_error_text(); }

// On the failure paths after the pipe was opened, the pipe is left open, as
// the host may still be reading it; the process carries on unregistered.
namespace {
bool writing_before_registration = true;
}  // namespace

void leave_host_after_fork() {
    if (!registered_with_host) return;
    registered_with_host = false;
    c_mirt_allow_shutdown_writing(writing_before_registration);
    set_own_client_number(-1);
}

bool connect_to_host() {
    platform::PipeHandle pipe = platform::invalid_pipe;
    platform::PipeOpen opened = platform::open_host_pipe(&pipe);
    while (opened != platform::PipeOpen::opened) {
        if (opened == platform::PipeOpen::absent) {
            report_last_error("open the host pipe at the client");
            return false;
        }
        if (!platform::wait_for_host_pipe(500)) {
            report_last_error("wait for a free host pipe");
            return false;
        }
        opened = platform::open_host_pipe(&pipe);
    }
    if (!platform::set_message_mode(pipe)) {
        report_last_error("set the host pipe to messages");
        return false;
    }
    char name[base_name_buffer];
    platform::module_base_name(name, sizeof name);
    char message[512];
    make_registration(message, sizeof message, name, platform::current_process_id());
    if (!platform::write_message(pipe, message, strlen(message) + 1)) {
        report_last_error("write to pipe at client end");
        return false;
    }
    char answer[4096];
    long got = platform::read_message(pipe, answer, sizeof answer - 1);
    if (got <= 0) {
        report_last_error("Read From Host Pipe at client end");
        return false;
    }
    answer[got] = '\0';
    set_own_client_number(atoi(answer));
    platform::close_pipe(pipe);
    writing_before_registration = shutdown_writing_allowed;
    c_mirt_allow_shutdown_writing(false);
    registered_with_host = true;
    return true;
}

void start_client_listener() {
    if (!platform::start_thread(client_request_thread, &own_record())) report_last_error("start the listener");
}

void hand_over_data(const ClientRecord& record, bool final) {
    char path[data_file_path_size];
    make_data_file_path(path, record, final);
    // The host is told all the same, so that it waits no longer; it finds no
    // file and says so too.
    if (!write_data_file(path)) write_error_log(__FILE_NAME__, __LINE__, (std::string("can't write data file ") + path).c_str());
    signal_named_event((final ? make_exiting_name(record) : make_data_ready_name(record)).get());
}

// Each answer is made under the collection lock and only while collection
// is open: once detach has closed it, this thread touches no table.
void client_request_thread(void* argument) {
    if (argument == nullptr) return;
    const ClientRecord& record = *static_cast<const ClientRecord*>(argument);
    platform::EventHandle requests[3] = {open_numbered_event(host_exiting_base, record.id),
                                         open_numbered_event(getdata_request_base, record.id),
                                         open_numbered_event(cleardata_request_base, record.id)};
    for (;;) {
        int which = platform::wait_any(requests, 3, platform::wait_forever);
        if (which == 0) break;
        if (which == 1 || which == 2) {
            platform::LockHold hold(collection_lock);
            if (!collection_closed) {
                if (which == 1) {
                    hand_over_data(record, false);
                } else {
                    c_mirt_clear_coverage_data();
                    signal_named_event(make_cleardata_done_name(record).get());
                }
            }
        } else if (which != platform::wait_timeout) {
            // A wait that cannot work (an event was missing) is retried
            // after a pause rather than at once, so that it never spins.
            platform::sleep_ms(1000);
        }
    }
    {
        platform::LockHold hold(collection_lock);
        if (!collection_closed) hand_over_data(record, true);
    }
    for (platform::EventHandle request : requests) platform::close_event(request);
}

}  // namespace mirt
