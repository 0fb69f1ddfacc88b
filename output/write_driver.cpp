// write_driver.cpp: appends one record group with every count so far to a coverage file.
#include "output/write_driver.h"

#include <cstdarg>
#include <string>

#include "output/emit.h"
#include "core/error_log.h"
#include "platform/files.h"
#include "core/index_file.h"
#include "mirt64.h"
#include "core/modules.h"
#include "core/paths.h"
#include "core/point_table.h"
#include "core/process_state.h"
#include "output/section_writers.h"
#include "core/source_lines.h"
#include "core/trace.h"

namespace mirt {

void (*gather_before_write)() = nullptr;
int (*output_vprintf)(FILE*, const char*, va_list) = vfprintf;

int emit(FILE* stream, const char* format, ...) {
    va_list args;
    va_start(args, format);
    int written = output_vprintf(stream, format, args);
    va_end(args);
    return written;
}

namespace {

char record_buffer[1 << 20];

// The source-line table is looked at under the probes' lock, as its writer
// does: a probe may be adding a file at that moment.
bool nothing_recorded() {
    if (!module_registry().empty() || point_table_allocated() || simple_counts() != nullptr ||
        !static_registrations().empty())
        return false;
    platform::LockHold hold(file_line_lock);
    return file_line_table().file_count() == 0;
}

// Numbered counters 1 to 999,999 above zero; counter 0 is never written,
// although mirt_fn(0) counts into it.
bool write_simple_counters(FILE* stream, const char* path) {
    const uint64_t* counts = simple_counts();
    if (counts == nullptr) return true;
    for (int i = 1; i < simple_counter_count; ++i) {
        int64_t count = static_cast<int64_t>(counts[i]);
        if (count > 0 && emit(stream, count_line_format, i, count) < 0) {
            MIRT_REPORT(Failure::counter_write, path);
            return false;
        }
    }
    return true;
}

void write_record_group(FILE* stream, const char* path) {
    if (point_table_full()) {
        MIRT_REPORT(Failure::table_full);
        return;
    }
    const char* name = current_test_name()[0] != '\0' ? current_test_name() : fallback_test_name();
    const char* label = current_test_label()[0] != '\0' ? current_test_label() : "unknown";
    if (emit(stream, "=== %s\n>>> %s\n", name, label) < 0) {
        MIRT_REPORT(Failure::header_write, path);
        return;
    }
    if (!merged_points().empty()) write_merged_point_section(stream);
    else if (point_table_allocated()) write_point_section(stream);
    write_line_section(stream);  // looks at the table under the probes' lock; no file, no lines
    if (!write_simple_counters(stream, path)) return;
    write_static_section(stream);
    write_module_section(stream);
}

// The exit file is one of the runtime's own, in a folder that others may
// write to; a path that the program names is opened as it asks.
void write_locked(const char* path, bool runtime_file) {
    if (nothing_recorded()) return;
    bool refused = false;
    FILE* stream = platform::open_append_stream(path, runtime_file, &refused);
    if (stream == nullptr) {
        if (refused) MIRT_REPORT_REFUSED(path);
        MIRT_REPORT(Failure::output_open, path);
        return;
    }
    // The whole record group goes to the file in one write where it fits
    // the buffer, so that processes appending to one file at once (a test
    // run's processes all end alike) do not cut into each other's groups,
    // and a process killed while it writes leaves less often half a group.
    // (One buffer for the process, used under the merge lock: only the pages a
    // group fills are ever touched, and a short process pays no allocation.)
    setvbuf(stream, record_buffer, _IOFBF, sizeof record_buffer);
    write_record_group(stream, path);
    if (platform::close_append_stream(stream) != 0) {
        MIRT_REPORT(Failure::output_close, path);
        return;
    }
    // The trace and the index are whole on disk after every write; the index
    // is closed only where a trace file was opened.
    if (close_trace_after_write()) close_index_after_write();
}

// A write never resets a count: successive writes append the totals so far.
// The host first gathers its clients' counts, even for a write that then
// finds nothing to do.
void write_coverage(const char* path, bool runtime_file) {
    if (gather_before_write != nullptr) gather_before_write();
    std::string directory;
    if (!directory_of(path, &directory)) return;
    make_directory_path(directory.c_str());  // a path without a folder is opened where the process runs
    // Merges of clients' data files add to the tables: none runs meanwhile.
    platform::LockHold hold(merge_lock);
    write_locked(path, runtime_file);
}

}  // namespace

void write_exit_output(const char* path) { write_coverage(path, true); }

}  // namespace mirt

using namespace mirt;

void mirt_write_coverage_data(const char* path) { write_coverage(path, false); }

extern "C" void c_mirt_write_coverage_data(const char* path) { mirt_write_coverage_data(path); }
