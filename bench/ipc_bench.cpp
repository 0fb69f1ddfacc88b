// Collection: data-file throughput each way for a large process, and the time of one host
// write with live clients, next to the floor that the host's once-a-second polling sets.
#include <benchmark/benchmark.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "ipc/data_file.h"
#include "core/error_log.h"
#include "core/index_file.h"
#include "startup/attach.h"
#include "mirt64.h"
#include "core/modules.h"
#include "core/point_table.h"
#include "core/trace.h"

namespace {

std::string scratch;  // private temporary and runtime folder of this run
std::string client_program;

std::string in_scratch(const std::string& name) { return scratch + "/" + name; }

// 1,000 modules of 100 lines, 100,000 named points (1,000 files of 100
// lines), 10,000 source files of 10 lines.
void fill_tables() {
    static std::vector<std::string> names;
    static std::vector<int> lines(100);
    for (int i = 0; i < 100; ++i) lines[i] = i + 1;
    for (int m = 0; m < 1000; ++m) names.push_back("src/module" + std::to_string(m) + ".cpp");
    for (int m = 0; m < 1000; ++m) {
        long long* counters = mirt_reg2(names[m].data(), 100, lines.data());
        for (int i = 0; i < 100; ++i) counters[i] = i + m;
    }
    for (int f = 0; f < 1000; ++f) {
        for (int line = 1; line <= 100; ++line) mirt_obj point(names[f].data(), line);
    }
    static std::vector<std::string> files;
    for (int f = 0; f < 10000; ++f) files.push_back("src/lines/file" + std::to_string(f) + ".cpp");
    for (auto& file : files) {
        for (int line = 1; line <= 10; ++line) mirt_fn2(file.data(), line);
    }
}

long long size_of(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0 ? static_cast<long long>(info.st_size) : 0;
}

void BM_WriteDataFile(benchmark::State& state) {
    std::string path = in_scratch("write_N");
    for (auto _ : state) mirt::write_data_file(path.c_str());
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * size_of(path));
    state.counters["file_MB"] = static_cast<double>(size_of(path)) / 1e6;
    remove(path.c_str());
}
BENCHMARK(BM_WriteDataFile)->Unit(benchmark::kMillisecond);

// Each merge adds to the tables; what it attached is dropped between runs.
void BM_MergeDataFile(benchmark::State& state) {
    std::string path = in_scratch("merge_N");
    mirt::write_data_file(path.c_str());
    for (auto _ : state) {
        mirt::merge_data_file(path.c_str());
        state.PauseTiming();
        for (auto& [name, head] : mirt::module_registry()) {
            for (mirt::ModuleRecord* loaded : head->attached) mirt::destroy_module_record(loaded);
            head->attached.clear();
        }
        mirt::free_merged_points();
        state.ResumeTiming();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * size_of(path));
    remove(path.c_str());
}
BENCHMARK(BM_MergeDataFile)->Unit(benchmark::kMillisecond);

// One host write with n live clients, each handing over 100 source lines.
// The host polls for answers once a second, so one second is the floor;
// over_floor_ms is what the write takes beyond it.
void BM_HostWrite(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    std::string stop = in_scratch("stop" + std::to_string(n));
    std::vector<pid_t> clients;
    for (int k = 0; k < n; ++k) {
        std::string ready = in_scratch("ready" + std::to_string(n) + "_" + std::to_string(k));
        pid_t child = fork();
        if (child == 0) {
            execl(client_program.c_str(), client_program.c_str(), ready.c_str(), stop.c_str(), nullptr);
            _exit(127);
        }
        clients.push_back(child);
    }
    for (int k = 0; k < n; ++k) {
        std::string ready = in_scratch("ready" + std::to_string(n) + "_" + std::to_string(k));
        while (access(ready.c_str(), F_OK) != 0) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    // The host's own large tables are emptied first: the time measured is
    // that of gathering, and of writing what the clients handed over.
    mirt_clear_coverage_data();
    std::string out = in_scratch("host.out");
    double total_ms = 0;
    for (auto _ : state) {
        auto start = std::chrono::steady_clock::now();
        mirt_write_coverage_data(out.c_str());
        total_ms += std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
        state.PauseTiming();
        remove(out.c_str());
        state.ResumeTiming();
    }
    state.counters["over_floor_ms"] = total_ms / static_cast<double>(state.iterations()) - 1000.0;
    if (FILE* f = fopen(stop.c_str(), "wb")) fclose(f);
    for (pid_t child : clients) waitpid(child, nullptr, 0);
}
BENCHMARK(BM_HostWrite)->Arg(1)->Arg(8)->Arg(32)->Iterations(3)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

// The benchmark itself is the host ("MIRTHOST" names it), with a private
// temporary folder, without auto-dump and without an exit write.
int main(int argc, char** argv) {
    char pattern[] = "/tmp/mirt-ipc-bench-XXXXXX";
    if (mkdtemp(pattern) == nullptr) return 1;
    scratch = pattern;
    setenv("TMPDIR", scratch.c_str(), 1);
    setenv("MIRTHOST", "ipc_bench", 1);
    setenv("CodeCoverageAutomation", "1", 1);
    char self[4096];
    ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
    self[n > 0 ? n : 0] = '\0';
    client_program = std::string(self).substr(0, std::string(self).rfind('/') + 1) + "ipc_bench_client";
    static std::string index = in_scratch("index.txt"), trace = in_scratch("trace.out"), log = in_scratch("err.txt");
    mirt::index_file_path = index.c_str();
    mirt::trace_file_name = trace.c_str();
    mirt::error_log_path = log.c_str();
    mirt::run_static_initialisers();
    mirt::process_attach();
    mirt_allow_shutdown_writing(false);
    fill_tables();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::string clean = "rm -rf '" + scratch + "'";
    return system(clean.c_str()) == 0 ? 0 : 0;
}
