// platform/memory.h: large zeroed tables that live until the process ends.
#ifndef MIRT_PLATFORM_MEMORY_H
#define MIRT_PLATFORM_MEMORY_H

#include <cstddef>

namespace mirt::platform {

// A zeroed block of bytes that is never freed, or nullptr. Where the system
// allows it the block is backed by large pages on first touch, so that
// reading a sparsely used table end to end (as a write of every counter
// does) takes a few page faults instead of one per 4 KiB page.
void* allocate_zeroed_table(size_t bytes);
// Gives back a block from allocate_zeroed_table of the same size that was
// never handed out (another thread's table won the race to be installed).
void release_zeroed_table(void* block, size_t bytes);

}  // namespace mirt::platform

#endif
