// The cost of starting and ending an instrumented process: one short program
// built plain, with g++ --coverage and through mirt-cc (table style), each
// started as a trivial run (no work) and as a suite of 22 short test runs, all measured in one run. After the runs it prints the
// ratios; the target is an instrumented process that costs no more to start
// and end than a gcov-instrumented one. The time is the processor time of the
// started processes (user and system, from wait4), which the load of a shared
// machine disturbs far less than their wall time.
#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench/median_collector.h"

extern char** environ;

namespace {

constexpr int kSuiteSize = 22;
std::string program_folder;

// Starts program with args and waits for its end; its processor time in
// seconds, or -1 when it could not start.
double run(const std::string& program, const char* arg) {
    std::vector<char*> argv{const_cast<char*>(program.c_str())};
    if (arg != nullptr) argv.push_back(const_cast<char*>(arg));
    argv.push_back(nullptr);
    pid_t pid = 0;
    if (posix_spawn(&pid, program.c_str(), nullptr, nullptr, argv.data(), environ) != 0) return -1;
    int status = 0;
    rusage usage{};
    if (wait4(pid, &status, 0, &usage) != pid) return -1;
    auto seconds = [](const timeval& t) { return static_cast<double>(t.tv_sec) + t.tv_usec * 1e-6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

void BM_Trivial(benchmark::State& state, const char* variant) {
    std::string program = program_folder + "/" + variant;
    for (auto _ : state) {
        double cpu = run(program, nullptr);
        if (cpu < 0) state.SkipWithError("cannot start the program");
        state.SetIterationTime(cpu < 0 ? 0 : cpu);
    }
}

void BM_Suite(benchmark::State& state, const char* variant) {
    std::string program = program_folder + "/" + variant;
    std::vector<std::string> numbers;
    for (int i = 0; i < kSuiteSize; ++i) numbers.push_back(std::to_string(1000003L * (i + 1)));
    for (auto _ : state) {
        double total = 0;
        for (const std::string& n : numbers) {
            double cpu = run(program, n.c_str());
            if (cpu < 0) state.SkipWithError("cannot start the program");
            total += cpu < 0 ? 0 : cpu;
        }
        state.SetIterationTime(total);
    }
}

const char* const kVariants[] = {"startup_plain", "startup_gcov", "startup_mirt"};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    std::string self = argv[0];
    program_folder = self.find('/') == std::string::npos ? "." : self.substr(0, self.rfind('/'));
    // Each run's coverage goes to a scratch folder, not to the machine's files,
    // and the scratch folder is the temporary one: no host of another run on
    // this machine takes the processes in as clients.
    char scratch[] = "/tmp/mirt-startup-XXXXXX";
    if (mkdtemp(scratch) == nullptr) return 1;
    setenv("MIRT_EXIT_FILE", (std::string(scratch) + "/exit.out").c_str(), 1);
    setenv("GCOV_PREFIX", scratch, 1);
    setenv("TMPDIR", scratch, 1);
    for (const char* variant : kVariants) {
        benchmark::RegisterBenchmark((std::string("BM_Trivial/") + variant).c_str(), BM_Trivial, variant)
            ->UseManualTime()->Unit(benchmark::kMicrosecond)->Repetitions(5)->ReportAggregatesOnly(true);
        benchmark::RegisterBenchmark((std::string("BM_Suite/") + variant).c_str(), BM_Suite, variant)
            ->UseManualTime()->Unit(benchmark::kMicrosecond)->Repetitions(5)->ReportAggregatesOnly(true);
    }
    MedianCollector collector(true);
    benchmark::RunSpecifiedBenchmarks(&collector);
    benchmark::Shutdown();
    std::string clean = std::string("rm -rf '") + scratch + "'";
    if (std::system(clean.c_str()) != 0) std::fprintf(stderr, "could not remove %s\n", scratch);
    for (const char* run : {"BM_Trivial", "BM_Suite"}) {
        double plain = collector.medians[std::string(run) + "/startup_plain"];
        double gcov = collector.medians[std::string(run) + "/startup_gcov"];
        double mirt = collector.medians[std::string(run) + "/startup_mirt"];
        if (plain > 0 && gcov > 0 && mirt > 0)
            std::printf("%s: mirt-cc %.2fx the uninstrumented time, %.2fx the time of --coverage (gcov itself: %.2fx)\n",
                        run, mirt / plain, mirt / gcov, gcov / plain);
    }
    return 0;
}
