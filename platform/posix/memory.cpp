// memory.cpp (POSIX): large zeroed tables. This file holds only POSIX code.
#include "platform/memory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

namespace mirt::platform {

namespace {
constexpr size_t large_page = size_t{2} << 20;

size_t whole_pages(size_t bytes) {
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    return (bytes + page - 1) / page * page;
}
}  // namespace

// Anonymous memory is zero. The block starts on a large-page boundary and
// asks for large pages; a system without them gives ordinary pages. The
// parts of the mapping before the boundary and after the block go back to
// the system, so that the block is a mapping of its own.
void* allocate_zeroed_table(size_t bytes) {
    const size_t size = whole_pages(bytes);
    void* mapping = mmap(nullptr, size + large_page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapping == MAP_FAILED) return nullptr;
    const uintptr_t first = reinterpret_cast<uintptr_t>(mapping);
    const uintptr_t start = (first + large_page - 1) & ~(large_page - 1);
    if (start > first) munmap(mapping, start - first);
    const uintptr_t end = start + size, mapping_end = first + size + large_page;
    if (mapping_end > end) munmap(reinterpret_cast<void*>(end), mapping_end - end);
    void* block = reinterpret_cast<void*>(start);
#ifdef MADV_HUGEPAGE
    madvise(block, size, MADV_HUGEPAGE);  // a refusal leaves ordinary pages
#endif
    return block;
}

void release_zeroed_table(void* block, size_t bytes) { munmap(block, whole_pages(bytes)); }

}  // namespace mirt::platform
