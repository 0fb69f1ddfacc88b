// trace.cpp: the trace file.
#include "core/trace.h"

#include "core/error_log.h"
#include "platform/files.h"
#include "core/internals.h"
#include "platform/seldom_used.h"

namespace mirt {

const char* trace_file_name = platform::trace_file_default_name;
platform::FileHandle trace_handle = 0;
bool trace_created = false;
int trace_record_count = 0;

namespace {
// Set when a coverage write flushed and closed the trace file.
bool trace_closed_by_write = false;
// 3-byte records are stored as 4-byte values at a 3-byte stride: 4 spare bytes.
MIRT_SELDOM_USED("trace_buffer") unsigned char trace_buffer[trace_buffer_records * 3 + 4];

void report_open(bool refused) {
    if (trace_handle != platform::invalid_file) return;
    if (refused) MIRT_REPORT_REFUSED(trace_file_name);
    MIRT_REPORT(Failure::trace_create, trace_file_name);
}
}  // namespace

void trace_append(int32_t value) {
    if (!trace_created) {
        trace_created = true;  // creation is tried once only
        bool refused = false;
        trace_handle = platform::create_write_file(trace_file_name, &refused);
        report_open(refused);
    } else if (trace_closed_by_write) {
        trace_closed_by_write = false;
        bool refused = false;
        trace_handle = platform::open_append_file(trace_file_name, &refused);
        report_open(refused);
    }
    // The record is the low three bytes of the value, little-endian; the
    // fourth byte written here is overwritten by the next record. Named points
    // take no lock, so threads that trace at once race on the count: each
    // works on its own copy of it, which never points past the buffer (a
    // record may then be lost or written twice, never outside the trace).
    int n = trace_record_count;
    if (n < 0 || n >= trace_buffer_records) n = 0;
    unsigned char* p = trace_buffer + 3 * n;
    uint32_t bits = static_cast<uint32_t>(value);
    p[0] = static_cast<unsigned char>(bits);
    p[1] = static_cast<unsigned char>(bits >> 8);
    p[2] = static_cast<unsigned char>(bits >> 16);
    p[3] = static_cast<unsigned char>(bits >> 24);
    trace_record_count = n + 1;
    if (n + 1 >= trace_buffer_records) trace_flush();
}

void trace_flush() {
    int n = trace_record_count;  // within the buffer whatever racing threads left
    if (n < 0 || n > trace_buffer_records) n = trace_buffer_records;
    if (!platform::write_file(trace_handle, trace_buffer, static_cast<size_t>(3 * n))) {
        MIRT_REPORT(Failure::trace_write, trace_file_name);
    }
    trace_record_count = 0;
}

void drop_buffered_trace() { trace_record_count = 0; }

bool close_trace_after_write() {
    if (trace_handle == 0) return false;
    trace_flush();
    bool valid = trace_handle != platform::invalid_file;
    if (!platform::close_file(trace_handle)) MIRT_REPORT(Failure::trace_close, trace_file_name);
    if (valid) {
        trace_handle = 0;
        trace_closed_by_write = true;
    }
    return true;
}

}  // namespace mirt
