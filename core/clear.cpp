// clear.cpp: resetting every count while keeping every structure that code or numbering relies on.
#include "core/clear.h"

#include <mutex>

#include "mirt64.h"
#include "core/modules.h"
#include "core/point_table.h"
#include "core/process_state.h"
#include "core/source_lines.h"

namespace mirt {
void (*clear_other_processes)() = nullptr;
}  // namespace mirt

using namespace mirt;

// What survives: every store's allocation, every registration and counter
// table (pointers handed out stay valid), the names, the index file and the
// point numbering, the entry count, the trace, the test name and label, and
// the process's role. The host first makes its clients clear.
namespace mirt {
void clear_own_counts(bool locks_held) {
    // A merge of a client's data file would add to the tables being emptied.
    std::unique_lock<platform::Lock> hold_merges(merge_lock, std::defer_lock);
    if (!locks_held) hold_merges.lock();
    // The slots are emptied but the entry count is kept: every claim since
    // the table was allocated counts towards its cap.
    clear_point_table();
    clear_simple_counters();
    clear_module_counts();
    // Taken here as well as by the probes: emptying a line map while a probe
    // inserts into it would corrupt the map, not just lose a hit.
    {
        std::unique_lock<platform::Lock> hold_probes(file_line_lock, std::defer_lock);
        if (!locks_held) hold_probes.lock();
        file_line_table().empty_all_line_maps();
    }
    free_merged_points();
}
}  // namespace mirt

extern "C" void c_mirt_clear_coverage_data(void) {
    if (clear_other_processes != nullptr) clear_other_processes();
    clear_own_counts();
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wattribute-alias"
void mirt_clear_coverage_data() __attribute__((alias("c_mirt_clear_coverage_data")));
#pragma GCC diagnostic pop
