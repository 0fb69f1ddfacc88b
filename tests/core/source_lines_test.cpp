// Tests of the source-line probe and its table, alone and under many threads.
#include <atomic>
#include <cstring>
#include <thread>

#include "tests/core/runtime_fixture.h"
#include "core/source_lines.h"

using namespace mirt;

namespace {
using Lines = std::vector<std::pair<int32_t, int64_t>>;
Lines lines_in(const std::string& file) {
    Lines out;
    if (line_count_map* m = file_line_table().find(file)) out.assign(m->begin(), m->end());
    return out;
}
}  // namespace

// Every entry point reaches the same entries; a null name counts nothing.
// Names are the bytes of each call, and merged counts sum.
TEST_F(RuntimeTest, LinesCountPerExactFileNameAndAscendBySignedOrder) {
    static char a[] = "src/a.cpp", same[] = "src/a.cpp";  // one text at two addresses
    EXPECT_EQ(mirt_fn2(a, 20), 0);
    EXPECT_EQ(c_mirt_fn2(same, 10), 0);
    for (int i = 0; i < 4; ++i) mirt_fn2(a, 20);
    mirt_fn22(same, 20);
    for (int line : {0, -3}) mirt_fn2(a, line);
    mirt_fn2("src/A.cpp", 1);
    mirt_fn2(".\\src\\a.cpp", 1);
    EXPECT_EQ(c_mirt_fn2(nullptr, 7), 0);
    EXPECT_EQ(lines_in("src/a.cpp"), (Lines{{-3, 1}, {0, 1}, {10, 1}, {20, 6}}));
    EXPECT_EQ(lines_in("src/A.cpp"), (Lines{{1, 1}}));
    EXPECT_EQ(lines_in(".\\src\\a.cpp"), (Lines{{1, 1}}));
    EXPECT_EQ(file_line_table().file_count(), 3u);
    EXPECT_EQ(total_of(*file_line_table().find("src/a.cpp")), 9);
    EXPECT_EQ(file_line_table().find("src/b.cpp"), nullptr);

    char buffer[32];  // "first" last: a prefix of the earlier name
    for (auto [name, line] :
         {std::pair{"first/a.cpp", 1}, {"first/a.cpp", 1}, {"second/b.cpp", 1}, {"first", 2}}) {
        strcpy(buffer, name);
        mirt_fn2(buffer, line);
    }
    EXPECT_EQ(lines_in("first/a.cpp"), (Lines{{1, 2}}));
    EXPECT_EQ(lines_in("second/b.cpp"), (Lines{{1, 1}}));
    EXPECT_EQ(lines_in("first"), (Lines{{2, 1}}));
    // Names are bytes with a length: a merged name with a zero byte in it is
    // not the probe's shorter name.
    FileLineTable& table = file_line_table();
    table.add_count("first\0x", 7, 3, 5);
    mirt_fn2(buffer, 3);
    EXPECT_EQ(lines_in("first"), (Lines{{2, 1}, {3, 1}}));
    EXPECT_EQ(lines_in(std::string("first\0x", 7)), (Lines{{3, 5}}));
    // Merged counts create files (with no lines yet) and sum per line; a sum
    // past the largest count wraps round instead of overflowing.
    table.file_entry("x.cpp", 5);
    EXPECT_EQ(lines_in("x.cpp"), Lines{});
    for (auto [line, count] : Lines{{4, 10}, {4, 5}, {2, 1}})
        table.add_count("x.cpp", 5, line, count);
    EXPECT_EQ(lines_in("x.cpp"), (Lines{{2, 1}, {4, 15}}));
    table.add_count("x.cpp", 5, 4, INT64_MAX);
    EXPECT_EQ(lines_in("x.cpp"), (Lines{{2, 1}, {4, INT64_MIN + 14}}));
}

// Enough files to split buckets many times over: every file keeps its lines.
TEST_F(RuntimeTest, ManyFilesSurviveTheTableGrowing) {
    std::vector<std::string> names;
    for (int i = 0; i < 5000; ++i)
        names.push_back("d" + std::to_string(i % 7) + "/f" + std::to_string(i));
    for (int round = 0; round < 3; ++round) {
        for (size_t i = 0; i < names.size(); ++i)
            mirt_fn2(names[i].data(), static_cast<int>(i % 13));
    }
    EXPECT_EQ(file_line_table().file_count(), names.size());
    for (size_t i = 0; i < names.size(); ++i)
        ASSERT_EQ(lines_in(names[i]), (Lines{{static_cast<int32_t>(i % 13), 3}})) << names[i];
}

// Sixty-four threads on the same eight lines while writes read the tables:
// the source-line probe loses no hit, every write sees each count only grow,
// and the unlocked probes beside them stay memory-safe (they may lose hits).
TEST_F(RuntimeTest, SixtyFourThreadsOnTheSameLinesLoseNoHitWhileWritesGoOn) {
    constexpr int threads = 64, hits = 100000, lines = 8;
    std::atomic<bool> go{false};
    std::atomic<int> running{threads};
    std::vector<std::thread> workers;
    for (int t = 0; t < threads; ++t) {
        workers.emplace_back([&, t] {
            while (!go.load()) std::this_thread::yield();
            for (int i = 0; i < hits; ++i) {
                mirt_fn2("src/hot.cpp", 101 + (i + t) % lines);
                if (i % 16 == 0) {
                    mirt_fn(7);
                    c_mirt_fn("src/point.cpp", 5);
                }
            }
            running.fetch_sub(1);
        });
    }
    mirt_fn2("src/start.cpp", 1);  // so that every write appends a record group
    go.store(true);
    int writes = 1;
    for (; running.load() > 0; ++writes) mirt_write_coverage_data(out_path.c_str());
    for (auto& w : workers) w.join();
    mirt_write_coverage_data(out_path.c_str());

    // The counts of each record group.
    std::vector<mirt_test::Counts> groups;
    const std::string text = mirt_test::read_file(out_path);
    for (size_t at = 0, next; at < text.size(); at = next) {
        next = text.find("\n=== ", at);
        next = next == std::string::npos ? text.size() : next + 1;
        groups.push_back(mirt_test::line_counts_in(text.substr(at, next - at)));
    }
    ASSERT_EQ(groups.size(), static_cast<size_t>(writes));
    for (int line = 101; line <= 100 + lines; ++line) {
        std::string key = "hot.cpp:" + std::to_string(line);
        EXPECT_EQ(groups.back()[key], threads * hits / lines) << key;
        for (size_t g = 1; g < groups.size(); ++g)
            EXPECT_LE(groups[g - 1][key], groups[g][key]) << g;
    }
    // The numbered counters follow the last file's lines, without a heading.
    long long sevens = groups.back()["start.cpp:7"];
    EXPECT_GT(sevens, 0);
    EXPECT_LE(sevens, threads * hits / 16);
}
