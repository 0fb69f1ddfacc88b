// The whole-program cost of probes placed by mirt-cc (table and atomic
// styles), next to gcc's own --coverage counters (plain and atomic) on the
// same workload, all against the uninstrumented code, measured in one run.
// After the runs it prints the ratios; the targets are a table style no
// slower than --coverage and an atomic style no slower than its atomic mode.
#include <benchmark/benchmark.h>

#include <cstdio>

#include "bench/median_collector.h"

long workload_plain(int size);
long workload_gcov(int size);
long workload_mirt(int size);
long workload_gcov_atomic(int size);
long workload_mirt_atomic(int size);

namespace {

constexpr int kSize = 4000;

void BM_Plain(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(workload_plain(kSize));
}
void BM_GccCoverage(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(workload_gcov(kSize));
}
void BM_MirtTable(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(workload_mirt(kSize));
}

void BM_GccCoverageAtomic(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(workload_gcov_atomic(kSize));
}
void BM_MirtAtomic(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(workload_mirt_atomic(kSize));
}

BENCHMARK(BM_Plain)->Unit(benchmark::kMicrosecond)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_GccCoverage)->Unit(benchmark::kMicrosecond)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_MirtTable)->Unit(benchmark::kMicrosecond)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_GccCoverageAtomic)->Unit(benchmark::kMicrosecond)->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_MirtAtomic)->Unit(benchmark::kMicrosecond)->Repetitions(5)->ReportAggregatesOnly(true);

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    MedianCollector collector;
    benchmark::RunSpecifiedBenchmarks(&collector);
    benchmark::Shutdown();
    double plain = collector.medians["BM_Plain"];
    double gcov = collector.medians["BM_GccCoverage"];
    double mirt = collector.medians["BM_MirtTable"];
    double gcov_atomic = collector.medians["BM_GccCoverageAtomic"];
    double mirt_atomic = collector.medians["BM_MirtAtomic"];
    if (plain > 0 && gcov > 0 && mirt > 0)
        std::printf("table style: %.2fx the uninstrumented time, %.2fx the time of --coverage (gcov itself: %.2fx)\n",
                    mirt / plain, mirt / gcov, gcov / plain);
    if (plain > 0 && gcov_atomic > 0 && mirt_atomic > 0)
        std::printf("atomic style: %.2fx the uninstrumented time, %.2fx the time of --coverage "
                    "-fprofile-update=atomic (which is %.2fx)\n",
                    mirt_atomic / plain, mirt_atomic / gcov_atomic, gcov_atomic / plain);
    return 0;
}
