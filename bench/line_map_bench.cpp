// Reading the line maps of a large build: 10,000 translation units of 120
// probed lines and 12 functions each, next to reading the same files' bytes
// and nothing more (the floor), and joining them with one test case's counts.
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tools/report/line_map.h"

namespace {

constexpr int kUnits = 10000;

// The folder of maps, made once per process and removed at its end.
struct MapTree {
    std::string folder;
    std::vector<std::string> files;
    MapTree() {
        char pattern[] = "/tmp/mirt-map-bench-XXXXXX";
        folder = mkdtemp(pattern) ? pattern : "";
        for (int u = 0; u < kUnits; ++u) {
            std::string sub = folder + "/dir" + std::to_string(u % 100);
            mkdir(sub.c_str(), 0700);
            std::ostringstream text;
            text << "mirt-line-map 1\nunit src/file" << u << ".cpp\nfolder /build\nbuilt " << 1000 + u
                 << "\nstyle table\nfile " << "00000000000000" << "ab" << " /src/project/module" << u % 100
                 << "/file" << u << ".cpp\nlines";
            for (int line = 1; line <= 120; ++line) text << ' ' << line * 3;
            text << '\n';
            for (int f = 0; f < 12; ++f)
                text << "function " << f * 30 + 3 << ' ' << f * 30 + 29 << " project::module::function" << f
                     << "(int, char const*)\n";
            text << "end\n";
            std::string path = sub + "/file" + std::to_string(u) + ".cpp.o.mirtmap";
            std::ofstream(path, std::ios::binary) << text.str();
            files.push_back(path);
        }
    }
    ~MapTree() { std::filesystem::remove_all(folder); }
};

MapTree& tree() {
    static MapTree t;
    return t;
}

// The floor: every map file opened and read whole.
void BM_ReadBytesOnly(benchmark::State& state) {
    MapTree& t = tree();
    for (auto _ : state) {
        std::size_t bytes = 0;
        for (const std::string& path : t.files) {
            std::ifstream in(path, std::ios::binary);
            std::ostringstream s;
            s << in.rdbuf();
            bytes += s.str().size();
        }
        benchmark::DoNotOptimize(bytes);
    }
    state.counters["units"] = kUnits;
}
BENCHMARK(BM_ReadBytesOnly)->Unit(benchmark::kMillisecond);

void BM_LoadLineMaps(benchmark::State& state) {
    MapTree& t = tree();
    for (auto _ : state) {
        mirt_report::LineMap map;
        std::vector<mirt_report::Diagnostic> diagnostics;
        mirt_report::load_line_maps({t.folder}, map, diagnostics);
        if (map.files().size() != static_cast<std::size_t>(kUnits)) state.SkipWithError("maps not all read");
        benchmark::DoNotOptimize(map);
    }
    state.counters["units"] = kUnits;
}
BENCHMARK(BM_LoadLineMaps)->Unit(benchmark::kMillisecond);

// Loading, then adding every never-run line to one test case that ran a
// third of the lines.
void BM_LoadAndJoinOneTestCase(benchmark::State& state) {
    MapTree& t = tree();
    mirt_report::TestCase ran;
    ran.name = "t";
    for (int u = 0; u < kUnits; ++u)
        for (int line = 1; line <= 120; line += 3)
            ran.files["/src/project/module" + std::to_string(u % 100) + "/file" + std::to_string(u) + ".cpp"]
                     [line * 3] = 1;
    for (auto _ : state) {
        mirt_report::CoverageSet set;
        set.add(ran);
        mirt_report::LineMap map;
        std::vector<mirt_report::Diagnostic> diagnostics;
        mirt_report::load_line_maps({t.folder}, map, diagnostics);
        mirt_report::add_unrun_lines(set, map);
        benchmark::DoNotOptimize(set);
    }
    state.counters["units"] = kUnits;
}
BENCHMARK(BM_LoadAndJoinOneTestCase)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
