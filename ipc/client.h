// client.h: a process's registration with the host and its answers to the host's requests.
#ifndef MIRT_IPC_CLIENT_H
#define MIRT_IPC_CLIENT_H

#include "ipc/names.h"

namespace mirt {

// Who this process is; the host's number goes into its id.
ClientRecord& own_record();
// With -1: refreshes the own record (name, pid, id -1) and rebuilds
// process_data_name. With any other number: stores only the id.
void set_own_client_number(int32_t number);

// Registers with the host over its pipe, waiting 500 ms at a time while every
// instance is busy. True when the host answered with a client number; then
// this process writes no exit output of its own. Silent on failure: the
// process runs on stand-alone.
bool connect_to_host();
// Starts client_request_thread on the process's own record.
void start_client_listener();
// Waits for the host's requests: data, clear, and the host's end, after
// which it hands over its final data and stops.
void client_request_thread(void* record);
// Writes the counts to the record's data file ("_Y" when final, else "_N")
// and signals the host: EXITING when final, DATA_READY otherwise.
void hand_over_data(const ClientRecord& record, bool final);
// Fetches the system's text for the last error and drops it: failures of
// the exchange are never shown. The label names the failed step for readers
// of the code only.
void report_last_error(const char* label);
// In a forked child of a registered client: the child is a process of its
// own, not the client the host knows under its parent's number. It runs
// stand-alone under its own process id and writes its own exit output, as
// the client did before it registered.
void leave_host_after_fork();

}  // namespace mirt

#endif
