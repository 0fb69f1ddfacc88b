// The cost of one probe of each kind, called as an instrumented program calls
// it (through the shared library), next to two floors measured in the same
// run: a counter increment inlined in the caller, and an out-of-line call
// that increments a counter.
//
// mirt_obj traces every construction and destruction into trace.out in the
// current folder: run this from a scratch folder.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>

#include "mirt64.h"

namespace {

long long floor_table[100];
// As instrumented code holds its registered table: a pointer in a global.
long long* reg2_table = nullptr;
uint64_t call_counter;

__attribute__((noinline)) void out_of_line_increment(int id) {
    benchmark::DoNotOptimize(id);
    ++call_counter;
}

char key_name[] = "src/key.cpp";
char point_name[] = "src/subsystem/module/point_name_40_b.cpp";
static_assert(sizeof(point_name) == 41, "a point name of 40 bytes");
char file_name[] = "src/subsystem/some_module.cpp";

void BM_Floor_InlineIncrement(benchmark::State& state) {
    for (auto _ : state) {
        floor_table[42] += 1;
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_Floor_InlineIncrement);

void BM_Floor_OutOfLineCall(benchmark::State& state) {
    for (auto _ : state) out_of_line_increment(42);
    benchmark::DoNotOptimize(call_counter);
}
BENCHMARK(BM_Floor_OutOfLineCall);

void BM_Reg2_TableIncrement(benchmark::State& state) {
    static int lines[100];
    for (int i = 0; i < 100; ++i) lines[i] = i + 1;
    reg2_table = mirt_reg2(const_cast<char*>("src/registered.cpp"), 100, lines);
    for (auto _ : state) {
        reg2_table[42] += 1;
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_Reg2_TableIncrement);

void BM_MirtFn_Int(benchmark::State& state) {
    for (auto _ : state) mirt_fn(42);
}
BENCHMARK(BM_MirtFn_Int);

void BM_MirtFn_KnownKey(benchmark::State& state) {
    mirt_fn(key_name, 17);
    for (auto _ : state) benchmark::DoNotOptimize(mirt_fn(key_name, 17));
}
BENCHMARK(BM_MirtFn_KnownKey);

void BM_MirtObj_KnownPoint(benchmark::State& state) {
    for (auto _ : state) {
        mirt_obj scope(point_name, 12);
        benchmark::DoNotOptimize(scope.index);
    }
}
BENCHMARK(BM_MirtObj_KnownPoint);

void BM_MirtObj_KnownPointNameAtChangingAddress(benchmark::State& state) {
    // The same text from 1024 buffers in turn (names built at run time):
    // more addresses than the runtime remembers, so every construction folds
    // the name and walks to its slot.
    static char copies[1024][sizeof point_name];
    for (auto& c : copies) memcpy(c, point_name, sizeof point_name);
    unsigned i = 0;
    for (auto _ : state) {
        mirt_obj scope(copies[i++ & 1023], 12);
        benchmark::DoNotOptimize(scope.index);
    }
}
BENCHMARK(BM_MirtObj_KnownPointNameAtChangingAddress);

void BM_MirtFn2_KnownLine(benchmark::State& state) {
    for (int line = 1; line <= 200; ++line) mirt_fn2(file_name, line);
    for (auto _ : state) mirt_fn2(file_name, 42);
}
BENCHMARK(BM_MirtFn2_KnownLine);

}  // namespace

int main(int argc, char** argv) {
    // The counts stay in memory: nothing is written when the process ends.
    mirt_allow_shutdown_writing(false);
    // The first probe allocates the point table; a named point must be the
    // one, or the index file stays closed and new named points go unnumbered.
    { mirt_obj first(point_name, 12); }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
