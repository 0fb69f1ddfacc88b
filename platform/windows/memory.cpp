// memory.cpp (Windows): large zeroed tables. This file holds only Windows code.
#include "platform/memory.h"

#include <cstdlib>

namespace mirt::platform {

// Large pages need a privilege that processes seldom hold: ordinary zeroed memory.
void* allocate_zeroed_table(size_t bytes) { return calloc(1, bytes); }

void release_zeroed_table(void* block, size_t) { free(block); }

}  // namespace mirt::platform
