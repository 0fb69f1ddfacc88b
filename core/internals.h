// internals.h: the stores' private state, for unit tests only. Runtime code reaches a
// store through the operations of its own header.
#ifndef MIRT_CORE_INTERNALS_H
#define MIRT_CORE_INTERNALS_H

#include <cstdint>
#include <cstdio>

#include "platform/files.h"
#include "core/point_table.h"

namespace mirt {

// point_table.cpp
extern PointHitEntry* point_hit_table;  // absent until first use
extern int32_t point_counter;           // number of the next new named point
extern int32_t point_entry_count;       // slots claimed since allocation; never decreases
extern uint64_t* simple_counters;       // absent until the first mirt_fn(int)

// trace.cpp
extern platform::FileHandle trace_handle;
extern bool trace_created;
extern int trace_record_count;

// index_file.cpp
extern FILE* index_stream;

}  // namespace mirt

#endif
