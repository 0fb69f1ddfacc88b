// sancov_counters.cpp: the counting callbacks of -fsanitize-coverage=trace-pc-guard
// (built without that flag). Each guard gets a number at start-up; a hit adds
// one to that number's counter, as a coverage tool built on the hook would.
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {
uint64_t* counters = nullptr;
uint32_t guard_count = 0;
}  // namespace

extern "C" void __sanitizer_cov_trace_pc_guard_init(uint32_t* start, uint32_t* stop) {
    if (start == stop || *start != 0) return;
    uint32_t first = guard_count;
    for (uint32_t* g = start; g < stop; ++g) *g = ++guard_count;
    auto* grown = static_cast<uint64_t*>(realloc(counters, sizeof(uint64_t) * (guard_count + 1)));
    if (grown == nullptr) abort();
    for (uint32_t i = first; i <= guard_count; ++i) grown[i] = 0;
    counters = grown;
}

extern "C" void __sanitizer_cov_trace_pc_guard(uint32_t* guard) { counters[*guard] += 1; }

// Writes "guard,count" for every guard that was hit.
void sancov_write(const char* path) {
    FILE* f = fopen(path, "w");
    if (f == nullptr) return;
    for (uint32_t i = 1; i <= guard_count; ++i)
        if (counters[i] != 0) fprintf(f, "%u,%llu\n", i, static_cast<unsigned long long>(counters[i]));
    fclose(f);
}
