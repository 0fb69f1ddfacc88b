// counts.h: how the runtime adds hit counts.
#ifndef MIRT_CORE_COUNTS_H
#define MIRT_CORE_COUNTS_H

#include <cstdint>

namespace mirt {

// Sums of counts are taken in 64-bit two's complement arithmetic: a sum past
// the largest value wraps round, as the probes' own counters do, rather
// than overflow (counts may come from the program's own tables or from a
// client's data file, and can be anything).
inline int64_t add_counts(int64_t a, int64_t b) {
    return static_cast<int64_t>(static_cast<uint64_t>(a) + static_cast<uint64_t>(b));
}

}  // namespace mirt

#endif
