// The source-line probe against its floor (a locked increment in an
// out-of-line call) and against a naive map of strings under a mutex.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <unordered_map>

#include "mirt64.h"

namespace {

char file_name[] = "src/subsystem/some_module.cpp";  // 29 bytes and a terminator: 30
static_assert(sizeof(file_name) == 30, "a 30-byte file name");

std::mutex floor_mutex;
int64_t floor_counter;

__attribute__((noinline)) void locked_increment(const char*, int) {
    std::lock_guard<std::mutex> lock(floor_mutex);
    ++floor_counter;
}

std::mutex naive_mutex;
std::unordered_map<std::string, std::map<int, int64_t>> naive_table;

__attribute__((noinline)) void naive_record(const char* file, int line) {
    std::lock_guard<std::mutex> lock(naive_mutex);
    ++naive_table[file][line];
}

void fill_other_lines(void (*probe)(const char*, int)) {
    // The known line sits among others, as in a real file.
    for (int line = 1; line <= 200; ++line) probe(file_name, line);
}

void BM_Floor_LockedIncrement(benchmark::State& state) {
    for (auto _ : state) locked_increment(file_name, 42);
    benchmark::DoNotOptimize(floor_counter);
}
BENCHMARK(BM_Floor_LockedIncrement);

void BM_Naive_StringMapUnderMutex(benchmark::State& state) {
    fill_other_lines(naive_record);
    for (auto _ : state) naive_record(file_name, 42);
}
BENCHMARK(BM_Naive_StringMapUnderMutex);

void BM_MirtFn2_KnownLine(benchmark::State& state) {
    fill_other_lines([](const char* f, int l) { mirt_fn2(const_cast<char*>(f), l); });
    for (auto _ : state) mirt_fn2(file_name, 42);
}
BENCHMARK(BM_MirtFn2_KnownLine);

void BM_MirtFn2_WalkingLines(benchmark::State& state) {
    // Hits move over the file's 200 lines, as a program's flow does.
    fill_other_lines([](const char* f, int l) { mirt_fn2(const_cast<char*>(f), l); });
    int line = 1;
    for (auto _ : state) {
        mirt_fn2(file_name, line);
        line = line == 200 ? 1 : line + 1;
    }
}
BENCHMARK(BM_MirtFn2_WalkingLines);

void BM_MirtFn2_NameAtChangingAddress(benchmark::State& state) {
    // The same text from 64 buffers in turn (names built at run time): every
    // hit hashes the name and looks its file up.
    fill_other_lines([](const char* f, int l) { mirt_fn2(const_cast<char*>(f), l); });
    static char copies[64][32];
    for (auto& c : copies) memcpy(c, file_name, sizeof file_name);
    unsigned i = 0;
    for (auto _ : state) mirt_fn2(copies[i++ & 63], 42);
}
BENCHMARK(BM_MirtFn2_NameAtChangingAddress);

}  // namespace
