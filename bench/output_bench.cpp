// One coverage write against a bare fprintf loop writing as many lines, in the same run.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "core/error_log.h"
#include "core/index_file.h"
#include "core/internals.h"
#include "startup/attach.h"
#include "core/process_state.h"
#include "mirt64.h"
#include "core/point_table.h"
#include "core/trace.h"

namespace {

std::string scratch(const char* name) { return std::string("/tmp/mirt-bench-") + name; }

void fprintf_lines(benchmark::State& state, int lines) {
    std::string path = scratch("fprintf.out");
    for (auto _ : state) {
        FILE* f = fopen(path.c_str(), "wb");
        fprintf(f, "=== %s\n>>> %s\n", "bench", "unknown");
        for (int i = 1; i <= lines; ++i) fprintf(f, "%d,%lld\n", i, static_cast<long long>(i) * 7);
        fclose(f);
    }
    remove(path.c_str());
}

void BM_Fprintf_10000Lines(benchmark::State& state) { fprintf_lines(state, 10000); }
BENCHMARK(BM_Fprintf_10000Lines)->Unit(benchmark::kMillisecond);

void BM_Write_SimpleCounters_10000Of1000000(benchmark::State& state) {
    for (int i = 1; i < 1000000; i += 100) mirt_fn(i);  // 10,000 counters above zero
    std::string path = scratch("simple.out");
    for (auto _ : state) {
        state.PauseTiming();
        remove(path.c_str());
        state.ResumeTiming();
        mirt_write_coverage_data(path.c_str());
    }
    remove(path.c_str());
}
BENCHMARK(BM_Write_SimpleCounters_10000Of1000000)->Unit(benchmark::kMillisecond);

void BM_Fprintf_101000Lines(benchmark::State& state) { fprintf_lines(state, 101000); }
BENCHMARK(BM_Fprintf_101000Lines)->Unit(benchmark::kMillisecond);

// 100,000 named points in 1,000 files of 100 lines: 100,000 count lines and
// 1,000 file headings. Each write compacts and sorts the table in place, so
// the table is put back as the probes left it before every write.
void BM_Write_NamedPoints_100000(benchmark::State& state) {
    static std::vector<std::string> names;
    for (int f = 0; f < 1000; ++f) names.push_back("src/dir" + std::to_string(f % 10) + "/file" + std::to_string(f) + ".cpp");
    for (auto& name : names) {
        for (int line = 1; line <= 100; ++line) mirt_obj point(name.data(), line);
    }
    std::vector<mirt::PointHitEntry> probed(mirt::point_hit_table, mirt::point_hit_table + mirt::point_table_slots);
    std::string path = scratch("points.out");
    for (auto _ : state) {
        state.PauseTiming();
        remove(path.c_str());
        memcpy(mirt::point_hit_table, probed.data(), probed.size() * sizeof(mirt::PointHitEntry));
        mirt::trace_handle = 0;  // no trace flush in the measured write
        state.ResumeTiming();
        mirt_write_coverage_data(path.c_str());
    }
    remove(path.c_str());
}
BENCHMARK(BM_Write_NamedPoints_100000)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    // The runtime's files go to the scratch folder, and no exit file is written.
    static std::string index = scratch("index.txt"), trace = scratch("trace.out"), log = scratch("err.txt");
    remove(index.c_str());
    mirt::index_file_path = index.c_str();
    mirt::trace_file_name = trace.c_str();
    mirt::error_log_path = log.c_str();
    mirt::run_static_initialisers();
    mirt::file_line_lock.init();
    mirt::merge_lock.init();
    static char name[] = "bench", label[] = "";
    mirt_set_test_name(name, 5, label);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    remove(index.c_str());
    remove(trace.c_str());
    return 0;
}
