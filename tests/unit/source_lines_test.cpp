// Tests of the source-line probe and its table.
#include <cstring>

#include "mirt64.h"
#include "runtime_fixture.h"
#include "source_lines.h"

using namespace mirt;

namespace {
std::vector<std::pair<int32_t, int64_t>> lines_in(const char* file) {
    std::vector<std::pair<int32_t, int64_t>> out;
    if (line_count_map* m = file_line_table().find(file)) out.assign(m->begin(), m->end());
    return out;
}
using Lines = std::vector<std::pair<int32_t, int64_t>>;
}  // namespace

TEST_F(RuntimeTest, LinesCountPerExactFileNameAndAscendBySignedOrder) {
    static char a[] = "src/a.cpp", upper[] = "src/A.cpp", dotted[] = ".\\src\\a.cpp";
    EXPECT_EQ(mirt_fn2(a, 20), 0);
    EXPECT_EQ(mirt_fn2(a, 10), 0);
    for (int i = 0; i < 5; ++i) mirt_fn2(a, 20);
    mirt_fn2(a, 0);
    mirt_fn2(a, -3);
    mirt_fn2(upper, 1);
    mirt_fn2(dotted, 1);
    EXPECT_EQ(lines_in("src/a.cpp"), (Lines{{-3, 1}, {0, 1}, {10, 1}, {20, 6}}));
    EXPECT_EQ(lines_in("src/A.cpp"), (Lines{{1, 1}}));
    EXPECT_EQ(lines_in(".\\src\\a.cpp"), (Lines{{1, 1}}));
    EXPECT_EQ(file_line_table().file_count(), 3u);
    EXPECT_EQ(total_of(*file_line_table().find("src/a.cpp")), 9);
    EXPECT_EQ(file_line_table().find("src/b.cpp"), nullptr);
}

TEST_F(RuntimeTest, EveryEntryPointReachesTheSameEntries) {
    char first[] = "entry.cpp";
    char second[] = "entry.cpp";  // another address, the same text
    mirt_fn2(first, 7);
    EXPECT_EQ(c_mirt_fn2(second, 7), 0);
    mirt_fn22(first, 7);
    EXPECT_EQ(c_mirt_fn2(nullptr, 7), 0);  // a null name counts nothing
    EXPECT_EQ(lines_in("entry.cpp"), (Lines{{7, 3}}));
    EXPECT_EQ(file_line_table().file_count(), 1u);
}

TEST_F(RuntimeTest, NamesAreTheBytesOfEachCallAndMergedCountsSum) {
    char buffer[32] = "first/a.cpp";
    mirt_fn2(buffer, 1);
    mirt_fn2(buffer, 1);
    strcpy(buffer, "second/b.cpp");
    mirt_fn2(buffer, 1);
    strcpy(buffer, "first");  // a prefix of the earlier name
    mirt_fn2(buffer, 2);
    EXPECT_EQ(lines_in("first/a.cpp"), (Lines{{1, 2}}));
    EXPECT_EQ(lines_in("second/b.cpp"), (Lines{{1, 1}}));
    EXPECT_EQ(lines_in("first"), (Lines{{2, 1}}));
    // Names are bytes with a length: a merged name with a zero byte in it
    // is not the probe's shorter name.
    file_line_table().add_count("first\0x", 7, 3, 5);
    mirt_fn2(buffer, 3);
    EXPECT_EQ(lines_in("first"), (Lines{{2, 1}, {3, 1}}));
    EXPECT_EQ(file_line_table().find(std::string("first\0x", 7))->at(3), 5);
    // Merged counts create files (with no lines yet) and sum per line.
    FileLineTable& table = file_line_table();
    table.file_entry("x.cpp", 5);
    EXPECT_EQ(lines_in("x.cpp"), Lines{});
    table.add_count("x.cpp", 5, 4, 10);
    table.add_count("x.cpp", 5, 4, 5);
    table.add_count("x.cpp", 5, 2, 1);
    EXPECT_EQ(lines_in("x.cpp"), (Lines{{2, 1}, {4, 15}}));
    // Counts merged from elsewhere can be anything: a sum past the largest
    // count wraps round instead of overflowing.
    table.add_count("x.cpp", 5, 4, INT64_MAX);
    EXPECT_EQ(lines_in("x.cpp"), (Lines{{2, 1}, {4, INT64_MIN + 14}}));
}

TEST_F(RuntimeTest, ManyFilesSurviveTheTableGrowing) {
    // Enough files to split buckets many times over: every file keeps its lines.
    std::vector<std::string> names;
    for (int i = 0; i < 5000; ++i) names.push_back("dir" + std::to_string(i % 7) + "/file_" + std::to_string(i) + ".cpp");
    for (int round = 0; round < 3; ++round) {
        for (size_t i = 0; i < names.size(); ++i) mirt_fn2(names[i].data(), static_cast<int>(i % 13));
    }
    EXPECT_EQ(file_line_table().file_count(), names.size());
    size_t seen = 0;
    file_line_table().for_each([&](const FileLineTable::Entry& e) {
        ++seen;
        ASSERT_EQ(e.lines.size(), 1u) << e.name;
        EXPECT_EQ(e.lines.begin()->second, 3);
    });
    EXPECT_EQ(seen, names.size());
    for (size_t i = 0; i < names.size(); i += 97) {
        EXPECT_EQ(lines_in(names[i].c_str()), (Lines{{static_cast<int32_t>(i % 13), 3}})) << names[i];
    }
}

