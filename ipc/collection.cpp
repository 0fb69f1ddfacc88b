// collection.cpp: the locks and the switch that bound collection's background threads.
#include "ipc/collection.h"

namespace mirt {

platform::Lock collection_lock;
std::atomic<bool> collection_closed{false};
platform::Lock gather_serial_lock;
platform::Lock gather_lock;
bool threads_gone_at_exit = false;

void create_collection_locks() {
    static bool created = false;
    if (created) return;
    created = true;
    recreate_collection_locks();
}

void recreate_collection_locks() {
    collection_lock.init();
    gather_serial_lock.init();
    gather_lock.init();
}

void close_collection() {
    platform::LockHold hold(collection_lock);
    collection_closed = true;
}

}  // namespace mirt
