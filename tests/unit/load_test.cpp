// Many threads on one runtime: the source-line probe loses no hit while writes
// read the tables; the unlocked probes stay memory-safe beside them.
#include <atomic>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "mirt64.h"
#include "runtime_fixture.h"

namespace {

// Count of each "line,count" line under the file heading "### hot.cpp" of
// every record group, group by group. The hot lines are numbered from 101;
// the simple counters that follow them without a heading are numbered below.
std::vector<std::map<int, long long>> hot_counts_per_group(const std::string& text) {
    std::vector<std::map<int, long long>> groups;
    bool in_hot = false;
    for (const std::string& line : mirt_test::lines_of(text)) {
        if (line.rfind("=== ", 0) == 0) groups.emplace_back();
        if (line.rfind("### ", 0) == 0 || line.rfind("--- ", 0) == 0) in_hot = line == "### hot.cpp";
        size_t comma = line.find(',');
        if (!in_hot || comma == std::string::npos || groups.empty()) continue;
        int number = std::stoi(line.substr(0, comma));
        if (number > 100) groups.back()[number] = std::stoll(line.substr(comma + 1));
        else in_hot = false;
    }
    return groups;
}

}  // namespace

TEST_F(RuntimeTest, SixtyFourThreadsOnTheSameLinesLoseNoHitWhileWritesGoOn) {
    constexpr int threads = 64, hits = 100000, lines = 8;
    static char hot[] = "src/hot.cpp";
    static char point[] = "src/point.cpp";
    const std::string out = mirt_test::join(folder, "load.out");
    std::atomic<bool> go{false};
    std::atomic<int> running{threads};
    std::vector<std::thread> workers;
    for (int t = 0; t < threads; ++t) {
        workers.emplace_back([&, t] {
            while (!go.load()) std::this_thread::yield();
            for (int i = 0; i < hits; ++i) {
                mirt_fn2(hot, 101 + (i + t) % lines);
                // Unlocked probes on shared counters: hits may be lost, nothing may break.
                if (i % 16 == 0) {
                    mirt_fn(7);
                    c_mirt_fn(point, 5);
                }
            }
            running.fetch_sub(1);
        });
    }
    // A line recorded first, so that every write appends a record group.
    static char start[] = "src/start.cpp";
    mirt_fn2(start, 1);
    go.store(true);
    int writes_during = 0;
    while (running.load() > 0) {
        mirt_write_coverage_data(const_cast<char*>(out.c_str()));
        ++writes_during;
    }
    for (auto& w : workers) w.join();
    mirt_write_coverage_data(const_cast<char*>(out.c_str()));

    auto groups = hot_counts_per_group(mirt_test::read_file(out));
    ASSERT_EQ(groups.size(), static_cast<size_t>(writes_during + 1));
    std::map<int, long long> exact;
    for (int line = 101; line <= 100 + lines; ++line) exact[line] = static_cast<long long>(threads) * hits / lines;
    EXPECT_EQ(groups.back(), exact);
    // Writes never reset and never see a torn count: each line only grows.
    for (size_t g = 1; g < groups.size(); ++g)
        for (const auto& [line, count] : groups[g - 1]) EXPECT_LE(count, groups[g][line]) << "group " << g;

    const std::string text = mirt_test::read_file(out);
    const std::string last = text.substr(text.rfind("=== "));
    size_t at = last.rfind("\n7,");
    ASSERT_NE(at, std::string::npos);
    long long sevens = std::stoll(last.substr(at + 3));
    EXPECT_GT(sevens, 0);
    EXPECT_LE(sevens, static_cast<long long>(threads) * hits / 16);
}
