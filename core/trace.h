// trace.h: the trace file, a packed record of named points entered (+n) and left (-n).
#ifndef MIRT_CORE_TRACE_H
#define MIRT_CORE_TRACE_H

#include <cstdint>

#include "files.h"

namespace mirt {

inline constexpr int trace_buffer_records = 10000;

// Name of the trace file, relative to the current folder; writable so that
// it can be pointed elsewhere.
extern const char* trace_file_name;
extern platform::FileHandle trace_handle;
extern bool trace_created;
// Set when a coverage write flushed and closed the trace file; the next
// record opens it again for appending, so a run's trace stays whole.
extern bool trace_closed_by_write;
// 3-byte records are stored as 4-byte values at a 3-byte stride: 4 spare bytes.
extern unsigned char trace_buffer[trace_buffer_records * 3 + 4];
extern int trace_record_count;

// Adds one record; writes the buffer out when it holds 10,000 records.
void trace_append(int32_t value);
// Writes the buffered records to the trace file; they are dropped on failure.
void trace_flush();

}  // namespace mirt

#endif
