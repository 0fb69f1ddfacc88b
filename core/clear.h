// clear.h: resetting every count while keeping every structure that code or numbering relies on.
#ifndef MIRT_CORE_CLEAR_H
#define MIRT_CORE_CLEAR_H

namespace mirt {

// Run first by every clear, before this process's own counts go: in the
// host, start-up points it at the clear of every client. Null elsewhere.
extern void (*clear_other_processes)();

// Empties this process's own counts (as a clear does, without its clients):
// under merge_lock and file_line_lock, unless the caller holds them.
void clear_own_counts(bool locks_held = false);

}  // namespace mirt

#endif
