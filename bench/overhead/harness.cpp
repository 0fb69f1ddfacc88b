// harness.cpp: one timed run of the workload, then one timed write of the
// coverage that the variant collected (its DUMP_* macro says how).
//
//   overhead_VARIANT SIZE OUTPUT_PATH
//
// prints "result=R work_ns=W dump_ns=D"; R is the same in every variant.
#include <chrono>
#include <cstdio>
#include <cstdlib>

long run_workload(int size);

#if defined(DUMP_MIRT)
#include "mirt64.h"
#elif defined(DUMP_GCOV)
extern "C" void __gcov_dump(void);
#elif defined(DUMP_LLVM_PROFILE)
extern "C" int __llvm_profile_write_file(void);
extern "C" void __llvm_profile_set_filename(const char*);
#elif defined(DUMP_SANCOV)
void sancov_write(const char* path);
#endif

namespace {

using Clock = std::chrono::steady_clock;

long long since(Clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now() - start).count();
}

void dump(const char* path) {
#if defined(DUMP_MIRT)
    mirt_write_coverage_data(path);
#elif defined(DUMP_GCOV)
    (void)path;  // the .gcda files go beside the objects (or under GCOV_PREFIX)
    __gcov_dump();
#elif defined(DUMP_LLVM_PROFILE)
    __llvm_profile_set_filename(path);
    __llvm_profile_write_file();
#elif defined(DUMP_SANCOV)
    sancov_write(path);
#else
    (void)path;
#endif
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s SIZE OUTPUT_PATH\n", argv[0]);
        return 2;
    }
#if defined(DUMP_MIRT)
    // The explicit write below is the one measured; none at exit.
    mirt_allow_shutdown_writing(false);
#endif
    int size = std::atoi(argv[1]);
    Clock::time_point start = Clock::now();
    long result = run_workload(size);
    long long work_ns = since(start);
    start = Clock::now();
    dump(argv[2]);
    long long dump_ns = since(start);
    std::printf("result=%ld work_ns=%lld dump_ns=%lld\n", result, work_ns, dump_ns);
    return 0;
}
