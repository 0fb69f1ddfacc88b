// The cost of starting and ending an instrumented process: a short program
// built plain, with g++ --coverage and through mirt-cc (table style), as one
// source and as one source with twelve more (a test program linked with the
// library it tests), each started as a trivial run (no work) and as a suite
// of 22 short test runs. The target is an instrumented process that costs no
// more to start and end than a gcov-instrumented one.
//
// Each iteration starts the three builds in turn, in an order that rotates,
// so that the load of a shared machine falls on all three alike; the counters
// give each build's processor time per iteration (user and system, from
// wait4) and the ratios of the same iterations' sums.
#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

extern char** environ;

namespace {

constexpr int kSuiteSize = 22;
constexpr const char* kBuilds[] = {"plain", "gcov", "mirt"};
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

// program: "startup" (one source) or "startup_units"; runs: 1 (a trivial
// run) or the suite's size.
void BM_Start(benchmark::State& state, const char* program, int runs) {
    std::vector<std::string> args;
    for (int i = 0; i < runs; ++i) args.push_back(std::to_string(1000003L * (i + 1)));
    double total[3] = {0, 0, 0};
    int rotation = 0;
    for (auto _ : state) {
        double iteration = 0;
        for (int k = 0; k < 3; ++k) {
            int build = (rotation + k) % 3;
            std::string path = program_folder + "/" + program + "_" + kBuilds[build];
            for (int i = 0; i < runs; ++i) {
                double cpu = run(path, runs == 1 ? nullptr : args[i].c_str());
                if (cpu < 0) {
                    state.SkipWithError("cannot start the program");
                    return;
                }
                total[build] += cpu;
                iteration += cpu;
            }
        }
        rotation = (rotation + 1) % 3;
        state.SetIterationTime(iteration);
    }
    for (int b = 0; b < 3; ++b)
        state.counters[std::string(kBuilds[b]) + "_us"] =
            benchmark::Counter(total[b] * 1e6, benchmark::Counter::kAvgIterations);
    state.counters["mirt_per_gcov"] = total[1] > 0 ? total[2] / total[1] : 0;
    state.counters["mirt_per_plain"] = total[0] > 0 ? total[2] / total[0] : 0;
    state.counters["gcov_per_plain"] = total[0] > 0 ? total[1] / total[0] : 0;
}

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
    for (const char* program : {"startup", "startup_units"}) {
        for (int runs : {1, kSuiteSize}) {
            std::string name = std::string(runs == 1 ? "BM_Trivial/" : "BM_Suite/") + program;
            benchmark::RegisterBenchmark(name.c_str(), BM_Start, program, runs)
                ->UseManualTime()->Unit(benchmark::kMicrosecond)->Repetitions(5)->ReportAggregatesOnly(true);
        }
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::string clean = std::string("rm -rf '") + scratch + "'";
    if (std::system(clean.c_str()) != 0) std::fprintf(stderr, "could not remove %s\n", scratch);
    return 0;
}
