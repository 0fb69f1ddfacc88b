// host.h: the host's side of collection: the pipe server, its clients and their counts.
#ifndef MIRT_IPC_HOST_H
#define MIRT_IPC_HOST_H

#include <cstdint>
#include <map>
#include <string>

#include "ipc/names.h"

namespace mirt {

// Client number to its record; the records are the registry's.
using ClientRegistry = std::map<int32_t, ClientRecord*>;

// The registry, created on first use. Every use holds collection_lock.
ClientRegistry& client_registry();

// Starts host_pipe_server_thread.
void start_host_pipe_server();
// Accepts clients until the process ends, one host_connection_thread each.
void host_pipe_server_thread(void*);
// Reads one registration and answers it with the client's number; a text
// that is no registration gets no answer.
void host_connection_thread(void* pipe);

// Numbers a new client (1, 2, ...; never reused), makes its record and its
// six events and enters it in the registry. Null once collection is closed,
// and when the events that the client sets cannot be made.
ClientRecord* add_client(const std::string& name, uint32_t pid);
// Creates the record's events; true when the three the client sets exist.
bool create_client_events(ClientRecord* record);
// Closes the client's events and forgets it; an unknown number does nothing.
void remove_client(int32_t number);
// Watches one client: merges its data files as it signals them, and
// forgets it when it ends or is found dead after ten quiet seconds.
void client_monitor_thread(void* record);
// The process still runs the same executable and has not ended.
bool client_is_alive(const ClientRecord& record);
// Merges the client's data file and deletes it, whether or not it could be read.
void merge_client_file(const ClientRecord& record, bool final);

// Before a write: every client's counts into this process's tables. While
// the host is not exiting, asks each client and polls once a second until
// all have answered (or were found dead). While it is exiting, tells each
// client to hand over its final data and merges what comes.
void gather_from_clients(bool host_exiting);
// Before a clear: makes every client clear, waiting up to a minute.
void clear_clients();

// At detach: closes the events of every client and forgets them. With
// threads_gone false, monitors may still wait on a client's events: its
// record and handles are then left to the process's end (only the events'
// names are removed).
void destroy_client_registry(bool threads_gone);
// In a forked child of the host: the clients, their events and the pipe are
// the parent's. The registry is emptied without closing or removing any of
// them, and no gather or clear reaches them from the child.
void forget_clients_after_fork();

}  // namespace mirt

#endif
