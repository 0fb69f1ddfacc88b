// trace.h: the trace file, a packed record of named points entered (+n) and left (-n).
#ifndef MIRT_CORE_TRACE_H
#define MIRT_CORE_TRACE_H

#include <cstdint>

namespace mirt {

inline constexpr int trace_buffer_records = 10000;

// Name of the trace file, relative to the current folder; writable so that
// it can be pointed elsewhere.
extern const char* trace_file_name;

// Adds one record; writes the buffer out when it holds 10,000 records.
void trace_append(int32_t value);
// Writes the buffered records to the trace file; they are dropped on failure.
void trace_flush();
// After a successful coverage write: flushes the trace, closes the file and
// marks it closed, so that the next record opens it again for appending and
// a run's trace stays whole. A trace file that could not be created keeps
// its invalid handle and reports again at every write. False, doing
// nothing, when no trace file was ever opened.
bool close_trace_after_write();
// In a forked child: the buffered records are the parent's, which writes them.
void drop_buffered_trace();

}  // namespace mirt

#endif
