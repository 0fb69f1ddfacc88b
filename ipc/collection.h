// collection.h: the locks and the switch that keep collection's background threads
// (the host's monitors and connections, the client's listener) off the tables once
// detach begins to release them.
#ifndef MIRT_IPC_COLLECTION_H
#define MIRT_IPC_COLLECTION_H

#include <atomic>

#include "platform/threads.h"

namespace mirt {

// Collection's threads do their work under collection_lock and only while
// collection_closed is false. The lock also guards the host's registry of
// clients. Locks are taken in the order gather_serial_lock, collection_lock,
// then the stores' merge_lock and file_line_lock.
extern platform::Lock collection_lock;
extern std::atomic<bool> collection_closed;
extern platform::Lock gather_serial_lock;  // one gather or client clear at a time
extern platform::Lock gather_lock;         // guards the count of answers a gather waits for
// Set by a detach that runs after every other thread of the process was
// ended (Windows, at process exit): nothing may wait on them then.
extern bool threads_gone_at_exit;

// Creates the three locks once; they live as long as the process.
void create_collection_locks();
// Makes the three locks afresh: the threads that ended at process exit may
// have left them held, and nobody else runs now.
void recreate_collection_locks();
// Collection's threads end their work here: after this none of them touches
// a table or a lock that detach releases.
void close_collection();

}  // namespace mirt

#endif
