// index_file_fuzzer.cpp: the index file as the runtime reads it back at start-up.
#include <cstring>

#include "core/error_log.h"
#include "fuzz/fuzz_support.h"
#include "core/index_file.h"
#include "core/internals.h"
#include "core/point_table.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string index_path = mirt_fuzz::scratch_path("index.txt");
    static const std::string log_path = mirt_fuzz::scratch_path("mirt_err.txt");
    mirt_fuzz::write_input(index_path, data, size);
    mirt::index_file_path = index_path.c_str();
    mirt::error_log_path = log_path.c_str();
    mirt::point_counter = 1;
    mirt::point_entry_count = 0;

    mirt::load_index_file(mirt::index_mode_numbering);
    MIRT_FUZZ_REQUIRE(mirt::point_hit_table != nullptr);
    // Every point entered took the next number, and no more points were
    // entered than the file has lines (a line of up to 1,022 bytes; the rest
    // of a longer one is read as the next).
    size_t lines = 1;
    for (size_t i = 0; i < size; ++i) lines += data[i] == '\n';
    MIRT_FUZZ_REQUIRE(static_cast<size_t>(mirt::point_entry_count) <= lines + size / 1022);
    MIRT_FUZZ_REQUIRE(mirt::point_counter == mirt::point_entry_count + 1);
    // The append stream that start-up opens takes a new point's line.
    MIRT_FUZZ_REQUIRE(mirt::append_index_line("fuzz.cpp", 7));
    if (mirt::index_stream != nullptr) fclose(mirt::index_stream);
    mirt::index_stream = nullptr;
    mirt::free_point_table();
    return 0;
}
