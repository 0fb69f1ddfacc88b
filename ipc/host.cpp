// host.cpp: the pipe server, the registry of clients, their monitors, gathering and clearing.
#include "ipc/host.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <atomic>
#include <vector>

#include "ipc/client.h"
#include "ipc/collection.h"
#include "ipc/data_file.h"
#include "core/error_log.h"
#include "platform/events.h"
#include "platform/files.h"
#include "core/process_state.h"
#include "platform/text.h"
#include "platform/pipe.h"
#include "platform/process.h"
#include "platform/threads.h"

namespace mirt {

namespace {

int32_t next_client_number = 0;  // under collection_lock

// Answers still owed to the current ordinary gather. It starts at 0 when the
// library loads and is never reset: a monitor counts down whenever a gather
// is in progress, so a negative remainder of one gather shortens the next.
int32_t gather_pending = 0;
std::atomic<bool> gather_in_progress{false};

// in_gather: whether a gather was in progress while the monitor still held
// collection_lock, under which a gather starts: a monitor that took its event
// before the gather counted its clients must not count it as an answer when
// the gather has started by the time it gets here (under load it then ended
// without a live client's answer).
void count_answer(bool in_gather) {
    if (!in_gather) return;
    platform::LockHold hold(gather_lock);
    --gather_pending;
}

constexpr unsigned monitor_timeout_ms = 10000;
constexpr unsigned exiting_timeout_ms = 60000;
constexpr unsigned exiting_slice_ms = 100;

void close_events(ClientRecord* record) {
    for (platform::EventHandle& event : record->events) {
        platform::close_event(event);
        event = 0;
    }
}

// Records whose events a clear or an exiting gather still waits on are kept
// (retired) until that wait is over, so that no handle is closed under a
// wait. Both under collection_lock.
int handle_users = 0;
std::vector<ClientRecord*>& retired_records() {
    static auto* retired = new std::vector<ClientRecord*>;
    return *retired;
}

void retire(ClientRecord* record) {
    if (handle_users > 0) {
        retired_records().push_back(record);
        return;
    }
    close_events(record);
    delete record;
}

void use_handles() { ++handle_users; }

void release_handles() {
    if (--handle_users > 0) return;
    for (ClientRecord* record : retired_records()) {
        close_events(record);
        delete record;
    }
    retired_records().clear();
}

}  // namespace

ClientRegistry& client_registry() {
    static auto* registry = new ClientRegistry;
    return *registry;
}

void start_host_pipe_server() {
    if (!platform::start_thread(host_pipe_server_thread, nullptr)) report_last_error("start the pipe server");
}

namespace {
// Connections are untrusted: one that sends nothing is dropped after
// registration_wait_ms, and at most connection_thread_limit are served at
// once. Past the limit the server waits for a place instead of accepting,
// and a thread that cannot be made costs one connection, not the server.
constexpr unsigned registration_wait_ms = 5000;
constexpr int connection_thread_limit = 64;
std::atomic<int> connection_threads{0};
}  // namespace

void host_pipe_server_thread(void*) {
    while (!exiting) {
        while (connection_threads >= connection_thread_limit && !exiting) platform::sleep_ms(10);
        platform::PipeHandle connection = platform::invalid_pipe;
        platform::AcceptResult accepted = platform::accept_pipe_client(&connection);
        if (accepted == platform::AcceptResult::failed) return;
        if (accepted == platform::AcceptResult::retry) {
            report_last_error("accept a client at the host");
            continue;
        }
        // The connection's number travels as the thread's argument.
        ++connection_threads;
        if (!platform::start_thread(host_connection_thread, reinterpret_cast<void*>(connection))) {
            --connection_threads;
            report_last_error("Host: create thread for pipe communication");
            platform::close_pipe(connection);
            platform::sleep_ms(100);
        }
    }
}

namespace {
void set_monitor_running(ClientRecord* record, bool running) {
    platform::LockHold hold(collection_lock);
    record->monitor_running = running;
}
}  // namespace

namespace {
// A registration is taken only for the process that sent it (where the
// system names the other end) and under a name that cannot lead out of the
// runtime's folder. One that names another process, the host's own for one,
// would have the host wait on a client that never answers.
bool acceptable_registration(platform::PipeHandle pipe, const std::string& name, uint32_t pid) {
    uint32_t sender = 0;
    if (pid == 0 || !acceptable_client_name(name)) return false;
    return !platform::peer_process_id(pipe, &sender) || sender == pid;
}
}  // namespace

// A refused registration gets no answer: the client then runs stand-alone.
void host_connection_thread(void* argument) {
    auto pipe = reinterpret_cast<platform::PipeHandle>(argument);
    char buffer[4096];
    long got = platform::read_message_within(pipe, buffer, sizeof buffer, registration_wait_ms);
    if (got <= 0) {
        report_last_error("read a registration at the host");
        platform::close_pipe(pipe);
        --connection_threads;
        return;
    }
    std::string text(buffer, bounded_length(buffer, static_cast<size_t>(got)));
    std::string name;
    uint32_t pid = 0;
    parse_registration(text, &name, &pid);
    ClientRecord* record = acceptable_registration(pipe, name, pid) ? add_client(name, pid) : nullptr;
    if (record != nullptr) {
        int32_t number = record->id;
        set_monitor_running(record, true);
        if (!platform::start_thread(client_monitor_thread, record)) set_monitor_running(record, false);
        const std::string answer = std::to_string(number);
        if (!platform::write_message(pipe, answer.c_str(), answer.size() + 1))
            report_last_error("answer a registration at the host");
    }
    platform::close_pipe(pipe);
    --connection_threads;
}

ClientRecord* add_client(const std::string& name, uint32_t pid) {
    platform::LockHold hold(collection_lock);
    if (collection_closed) return nullptr;
    auto* record = new ClientRecord;
    record->name = name;
    record->pid = pid;
    record->id = ++next_client_number;
    // The host's own creation time, taken only when the client's process can
    // be opened: the liveness test compares it with the host's again.
    if (platform::process_can_be_opened(pid)) record->creation_time = platform::own_creation_time();
    // A client whose events cannot be made (a name too long for the system)
    // could never be waited for: it is not taken, and runs stand-alone.
    if (!create_client_events(record)) {
        close_events(record);
        delete record;
        return nullptr;
    }
    client_registry()[record->id] = record;
    return record;
}

bool create_client_events(ClientRecord* record) {
    OwnedName (*kinds[3])(const ClientRecord&) = {make_exiting_name, make_data_ready_name, make_cleardata_done_name};
    for (int i = 0; i < 3; ++i) record->events[i] = create_named_event(kinds[i](*record).get(), false, false);
    record->events[event_host_exiting] = create_numbered_event(host_exiting_base, record->id, false);
    record->events[event_getdata] = create_numbered_event(getdata_request_base, record->id, false);
    record->events[event_cleardata] = create_numbered_event(cleardata_request_base, record->id, false);
    return record->events[0] != 0 && record->events[1] != 0 && record->events[2] != 0;
}

// Called under collection_lock.
void remove_client(int32_t number) {
    ClientRegistry& registry = client_registry();
    auto it = registry.find(number);
    if (it == registry.end()) return;
    ClientRecord* record = it->second;
    registry.erase(it);
    retire(record);
}

bool client_is_alive(const ClientRecord& record) {
    char name[512];
    bool ended = false;
    if (!platform::query_process(record.pid, name, sizeof name, &ended)) return false;
    if (record.name != name) return false;  // the process id now belongs to another program
    uint64_t created = platform::own_creation_time();
    if ((created >> 32) != (record.creation_time >> 32) && (created & 0xFFFFFFFFu) != (record.creation_time & 0xFFFFFFFFu))
        return false;
    return !ended;
}

void merge_client_file(const ClientRecord& record, bool final) {
    char path[data_file_path_size];
    make_data_file_path(path, record, final);
    // A client that signalled without a file could not write it (a full disk).
    if (!merge_data_file(path) && !platform::path_exists(path))
        write_error_log(__FILE_NAME__, __LINE__, (std::string("no data file ") + path).c_str());
    platform::delete_file(path);
}

// Every step is taken under collection_lock and only while collection is
// open. What it did is also marked in the record, for an exiting gather
// that waits on the same events.
void client_monitor_thread(void* argument) {
    auto* record = static_cast<ClientRecord*>(argument);
    platform::EventHandle signals[2] = {record->events[event_exiting], record->events[event_data_ready]};
    for (;;) {
        int which = platform::wait_any(signals, 2, monitor_timeout_ms);
        std::unique_lock<platform::Lock> hold(collection_lock);
        if (collection_closed) return;
        bool in_gather = gather_in_progress;
        if (which == 1) {
            merge_client_file(*record, false);
            hold.unlock();
            count_answer(in_gather);
            continue;
        }
        // A wait that fails is a time-out too: the client's liveness decides.
        if (which == 0 || !client_is_alive(*record)) {
            if (which == 0) {
                merge_client_file(*record, true);
                record->final_merged = true;
            } else {
                record->gone = true;
            }
            record->monitor_running = false;
            remove_client(record->id);
            hold.unlock();
            count_answer(in_gather);
            return;
        }
        hold.unlock();
        if (which != platform::wait_timeout) platform::sleep_ms(100);  // a failed wait never spins
    }
}

namespace {

void ordinary_gather() {
    std::vector<platform::EventHandle> requests;
    {
        platform::LockHold hold(collection_lock);
        for (const auto& [number, record] : client_registry()) {
            if (record->gone || record->final_merged) continue;
            platform::LockHold count(gather_lock);
            ++gather_pending;
            requests.push_back(record->events[event_getdata]);
        }
        gather_in_progress = true;
        // Set under the lock: no record's events are closed meanwhile.
        for (platform::EventHandle request : requests) {
            if (request != 0 && !platform::set_event(request)) break;
        }
    }
    for (;;) {
        platform::sleep_ms(1000);
        platform::LockHold count(gather_lock);
        if (gather_pending <= 0) break;
    }
    gather_in_progress = false;
}

// Three minutes of silence in all end the wait. An answer taken by a
// client's monitor (which may still wait on the same event on POSIX, or
// when the library is unloaded) counts as given, and so does a client that
// its monitor found dead.
void exiting_gather(bool threads_gone) {
    struct Owed {
        ClientRecord* record;
        platform::EventHandle exiting;
    };
    std::vector<Owed> owed;
    {
        platform::LockHold hold(collection_lock);
        for (const auto& [number, record] : client_registry()) {
            if (record->gone || record->final_merged) continue;
            owed.push_back({record, record->events[event_exiting]});
        }
        for (const Owed& o : owed) {
            if (o.record->events[event_host_exiting] != 0 && !platform::set_event(o.record->events[event_host_exiting])) break;
        }
        use_handles();
    }
    int timeouts = 0;
    unsigned quiet_ms = 0;
    while (!owed.empty() && timeouts < 3) {
        std::vector<platform::EventHandle> handles;
        for (const Owed& o : owed) handles.push_back(o.exiting);
        // With no monitor left, one long wait does; otherwise short ones, so
        // that what the monitors did is seen soon.
        unsigned slice = threads_gone ? exiting_timeout_ms : exiting_slice_ms;
        int which = platform::wait_any(handles.data(), static_cast<int>(handles.size()), slice);
        platform::LockHold hold(collection_lock);
        if (which >= 0 && which < static_cast<int>(owed.size())) {
            merge_client_file(*owed[which].record, true);
            owed[which].record->final_merged = true;
            owed.erase(owed.begin() + which);
            quiet_ms = 0;
        } else if (which == platform::wait_timeout) {
            quiet_ms += slice;
            if (quiet_ms >= exiting_timeout_ms) {
                ++timeouts;
                quiet_ms = 0;
            }
        } else {
            owed.pop_back();  // a failed wait is taken as an answer
        }
        for (size_t i = owed.size(); i-- > 0;) {
            if (owed[i].record->final_merged || owed[i].record->gone) owed.erase(owed.begin() + static_cast<long>(i));
        }
    }
    platform::LockHold hold(collection_lock);
    release_handles();
}

}  // namespace

void gather_from_clients(bool host_exiting) {
    platform::LockHold one_at_a_time(gather_serial_lock);
    bool any = false;
    {
        platform::LockHold hold(collection_lock);
        any = !client_registry().empty();
    }
    if (any) {
        if (host_exiting) exiting_gather(threads_gone_at_exit);
        else ordinary_gather();
    }
}

// Every client is asked under the lock; the wait for their answers is not.
void clear_clients() {
    std::vector<platform::EventHandle> done;
    platform::LockHold one_at_a_time(gather_serial_lock);
    {
        platform::LockHold hold(collection_lock);
        std::vector<platform::EventHandle> requests;
        for (const auto& [number, record] : client_registry()) {
            if (record->gone || record->final_merged) continue;
            done.push_back(record->events[event_cleardata_done]);
            requests.push_back(record->events[event_cleardata]);
        }
        for (platform::EventHandle request : requests) {
            if (request != 0 && !platform::set_event(request)) break;
        }
        use_handles();
    }
    if (!done.empty()) platform::wait_all(done.data(), static_cast<int>(done.size()), exiting_timeout_ms);
    platform::LockHold hold(collection_lock);
    release_handles();
}

void forget_clients_after_fork() {
    client_registry().clear();  // the records are left: their handles are the parent's names
    retired_records().clear();
    handle_users = 0;
}

void destroy_client_registry(bool threads_gone) {
    platform::LockHold hold(collection_lock);
    ClientRegistry& registry = client_registry();
    for (auto& [number, record] : registry) {
        if (threads_gone || !record->monitor_running) {
            close_events(record);
            delete record;
        } else {
            // Kept where leak checks see it: the monitor may still read it.
            static auto* left_running = new std::vector<ClientRecord*>;
            left_running->push_back(record);
            for (platform::EventHandle event : record->events) platform::remove_event_name(event);
        }
    }
    registry.clear();
    if (threads_gone) handle_users = 0;
    if (handle_users == 0) {
        for (ClientRecord* record : retired_records()) {
            close_events(record);
            delete record;
        }
        retired_records().clear();
    }
}

}  // namespace mirt
