// names.h: the names and messages that host and clients agree on byte for byte.
#ifndef MIRT_IPC_NAMES_H
#define MIRT_IPC_NAMES_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "platform/events.h"

namespace mirt {

// The fixed texts, as pointers so that they can be %s arguments.
extern const char* host_exiting_base;          // "MIRT_HOST_EXITING"
extern const char* getdata_request_base;       // "MIRT_HOST_REQUEST_GETDATA"
extern const char* cleardata_request_base;     // "MIRT_HOST_REQUEST_CLEARDATA"

// The six events of a client, in the host's record.
enum ClientEvent {
    event_exiting = 0,         // client to host: final data file written, going away
    event_data_ready = 1,      // client to host: the requested data file is written
    event_cleardata_done = 2,  // client to host: counts cleared
    event_host_exiting = 3,    // host to client: hand over the final data and stop listening
    event_getdata = 4,         // host to client: write a data file
    event_cleardata = 5,       // host to client: clear the counts
    client_event_count = 6
};

// Who a process is in a multi-process run. The process keeps one for itself;
// the host keeps one per registered client.
struct ClientRecord {
    std::string name;            // executable base name, case as reported
    uint64_t creation_time = 0;  // as the system gives it: high half, low half
    uint32_t pid = 0;
    int32_t id = -1;             // client number from the host; -1 until it answers
    platform::EventHandle events[client_event_count] = {};  // only the host's copy holds them
    // The host's bookkeeping, read and written under the collection lock.
    bool monitor_running = false;  // a monitor thread waits on the events
    bool final_merged = false;     // the final data file was merged
    bool gone = false;             // found dead by its monitor
};

inline constexpr size_t name_buffer_size = 511;

// A name in a malloc'd block of its exact length, freed with its holder.
struct FreeName {
    void operator()(char* name) const { free(name); }
};
using OwnedName = std::unique_ptr<char, FreeName>;

// "mirt_%s_data_%d_%d" of name, pid and id, at most 510 characters.
OwnedName make_data_base_name(const char* name, uint32_t pid, int32_t id);
OwnedName make_data_base_name(const ClientRecord& record);

// "<base name>_<kind>", at most 510 characters.
OwnedName make_kind_name(const ClientRecord& record, const char* kind);
OwnedName make_exiting_name(const ClientRecord& record);
OwnedName make_data_ready_name(const ClientRecord& record);
OwnedName make_cleardata_done_name(const ClientRecord& record);

// The temporary folder, base and "_Y" (final) or "_N" (on request). The
// destination must hold data_file_path_size bytes; a longer path is cut.
inline constexpr size_t data_file_path_size = 255 + name_buffer_size + 3;
void make_data_file_path(char* destination, const char* base, bool final);
// The same for a client's record.
void make_data_file_path(char* destination, const ClientRecord& record, bool final);

platform::EventHandle create_named_event(const char* name, bool manual_reset, bool initial);
// "<base>_<id>", created not signalled / opened; 0 on failure.
platform::EventHandle create_numbered_event(const char* base, int32_t id, bool manual_reset);
platform::EventHandle open_numbered_event(const char* base, int32_t id);
// Opens the event, sets it and closes it again. False when the event does
// not exist (the signal is then lost) or cannot be set.
bool signal_named_event(const char* name);

// "CR:<name>:<pid>" into buffer (the caller sends it with its terminator).
void make_registration(char* buffer, size_t size, const char* name, uint32_t pid);
// The client's name and process id from a registration text. Anything that
// does not start with "CR:" gives the empty name and 0; a process id that is
// not a number gives 0, which marks the text as no registration.
void parse_registration(const std::string& text, std::string* name, uint32_t* pid);

// The longest client name the host takes: a file name's length, so that no
// name of a client's events or data files can be longer than the system allows
// because of it (the host also refuses a client whose events cannot be made).
inline constexpr size_t client_name_limit = 255;
// Whether a registration's name can go into the host's file and event names:
// not empty, at most client_name_limit characters, and no folder separator
// ('/' or '\\'), so that no name leads out of the folder.
bool acceptable_client_name(const std::string& name);

}  // namespace mirt

#endif
