// memory.cpp (POSIX): large zeroed tables. This file holds only POSIX code.
#include "memory.h"

#include <sys/mman.h>

#include <cstdint>

namespace mirt::platform {

namespace {
constexpr size_t large_page = size_t{2} << 20;
}  // namespace

// Anonymous memory is zero. The block starts on a large-page boundary and
// asks for large pages; a system without them gives ordinary pages, and
// the part of the mapping before the boundary is simply left unused.
void* allocate_zeroed_table(size_t bytes) {
    void* mapping = mmap(nullptr, bytes + large_page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapping == MAP_FAILED) return nullptr;
    uintptr_t start = (reinterpret_cast<uintptr_t>(mapping) + large_page - 1) & ~(large_page - 1);
    void* block = reinterpret_cast<void*>(start);
#ifdef MADV_HUGEPAGE
    madvise(block, bytes, MADV_HUGEPAGE);  // a refusal leaves ordinary pages
#endif
    return block;
}

}  // namespace mirt::platform
