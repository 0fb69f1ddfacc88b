// data_file_fuzzer.cpp: a client's data file as the host merges it, then writes it out.
#include "ipc/data_file.h"
#include "core/error_log.h"
#include "fuzz/fuzz_support.h"
#include "mirt64.h"
#include "core/modules.h"
#include "core/point_table.h"
#include "core/process_state.h"
#include "core/source_lines.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string path = mirt_fuzz::scratch_path("mirt_fuzz_data_N");
    static const std::string out = mirt_fuzz::scratch_path("merged.out");
    static const std::string log = mirt_fuzz::scratch_path("mirt_err.txt");
    static const bool ready = [] {
        mirt::merge_lock.init();
        mirt::file_line_lock.init();
        mirt::error_log_path = log.c_str();
        return true;
    }();
    (void)ready;
    mirt_fuzz::write_input(path, data, size);

    // File entries of the line table stay from run to run (a clear keeps
    // them too); only their line maps are emptied.
    const size_t files_before = mirt::file_line_table().file_count();
    MIRT_FUZZ_REQUIRE(mirt::merge_data_file(path.c_str()));
    // Nothing is made up beyond the file's end: every point takes at least
    // 24 bytes, every source line 12 and every file 16 (a last, cut entry
    // is kept as far as it was read).
    MIRT_FUZZ_REQUIRE(mirt::merged_points().size() <= size / 24 + 1);
    MIRT_FUZZ_REQUIRE(mirt::file_line_table().file_count() <= files_before + size / 16 + 1);
    MIRT_FUZZ_REQUIRE(mirt::module_names().size() <= size / 8 + 1);

    // The merged counts go out through every section writer.
    mirt_fuzz::write_input(out, nullptr, 0);
    mirt_write_coverage_data(out.c_str());

    mirt::free_merged_points();
    mirt::destroy_all_modules();
    mirt::file_line_table().empty_all_line_maps();
    return 0;
}
