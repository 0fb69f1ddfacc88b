// tests-for queries, and the index and trace files decoded into a listing.
#include <gtest/gtest.h>

#include <sstream>

#include "tests/tools/report/report_fixture.h"
#include "tools/report/tests_for.h"
#include "tools/report/trace_decoder.h"

using namespace mirt_report;
using mirt_report_test::set_of;

TEST(LineQueries, ReadFileAndLine) {
    LineQuery q;
    EXPECT_EQ(parse_line_query("C:\\src\\a.cpp:12", q), "");
    EXPECT_EQ(q.file + "@" + std::to_string(q.line), "C:\\src\\a.cpp@12");
    for (const char* bad : {"a.cpp", ":5", "a.cpp:", "a.cpp:1x", "a.cpp:99999999999"})
        EXPECT_NE(parse_line_query(bad, q), "") << bad;
}

TEST(LineQueries, FindTheTestCasesThatHitALine) {
    CoverageSet set = set_of(
        "=== first\n>>> l\n--- src\n### a.cpp\n5,3\n6,0\n--- lib/src\n### a.cpp\n5,1\n"
        "=== second\n>>> l\n--- src\n### a.cpp\n5,8\n"
        "=== third\n>>> l\n--- src\n### a.cpp\n6,0\n"
        "=== windows\n>>> l\n--- C:\\w\\b.cpp\n### C:\\w\\b.cpp\n9,2\n");

    // Each answer as "file hits..." ("unlisted" when no test case lists the line).
    auto ask = [&](const std::string& file, int32_t line) {
        std::vector<std::string> found;
        for (const auto& f : tests_for(set, LineQuery{file, line})) {
            found.push_back(f.file + (f.listed ? "" : " unlisted"));
            for (const auto& [test, count] : f.hits)
                found.back() += " " + test + "=" + std::to_string(count);
        }
        return found;
    };
    using Found = std::vector<std::string>;
    // An exact name wins over suffixes.
    EXPECT_EQ(ask("src/a.cpp", 5), Found{"src/a.cpp first=3 second=8"});
    EXPECT_EQ(ask("a.cpp", 5), (Found{"lib/src/a.cpp first=1", "src/a.cpp first=3 second=8"}));
    EXPECT_EQ(ask("src/a.cpp", 6), Found{"src/a.cpp"});
    EXPECT_EQ(ask("src/a.cpp", 7), Found{"src/a.cpp unlisted"});
    EXPECT_EQ(ask("b.cpp", 9), Found{"C:\\w\\b.cpp windows=2"});
    EXPECT_EQ(ask("c.cpp", 5), Found{});
    EXPECT_EQ(ask("rc/a.cpp", 5), Found{});  // a suffix must start after a separator
}

// Points are numbered as the runtime numbers them when it reads the file back.
TEST(IndexFile, NumbersPointsAsTheRuntimeDoes) {
    std::string long_name(1500, 'n');
    // A zero byte ends a line's text for the runtime's C string functions.
    std::istringstream in("a.cpp,10\nb.cpp,20\na.cpp,10\nno comma here\n,5\nx,y,7\na.cpp,11\r\n" +
                          std::string("zero\0after,9\n", 13) + long_name + ",3\nlast,-4");
    std::vector<IndexPoint> points = read_index(in);
    std::vector<std::string> seen;
    for (const IndexPoint& p : points) seen.push_back(p.name + "@" + std::to_string(p.line));
    // The 1,500-byte line is read in two pieces: its first 1,022 bytes name
    // no point, the rest names a point with the remaining 478 bytes.
    EXPECT_EQ(seen, (std::vector<std::string>{"a.cpp@10", "b.cpp@20", "@5", "x@0", "a.cpp@11",
                                              std::string(478, 'n') + "@3", "last@-4"}));
}

TEST(TraceFile, DecodesThreeByteRecords) {
    // 70,000 entered and left: 70 11 01 and 90 EE FE; then 1 and -1.
    std::string bytes("\x70\x11\x01\x90\xEE\xFE\x01\x00\x00\xFF\xFF\xFF\x7F", 13);
    EXPECT_EQ(decode_trace(bytes), (std::vector<int32_t>{70000, -70000, 1, -1}));  // the spare byte is no record
    EXPECT_EQ(decode_trace(std::string("\xFF\xFF\x7F\x00\x00\x80", 6)), (std::vector<int32_t>{8388607, -8388608}));
}

TEST(TraceFile, ListsEntersAndLeavesByDepth) {
    std::vector<IndexPoint> points{{"a.cpp", 10}, {"b.cpp", 20}, {"c.cpp", 30}};
    std::ostringstream out;
    ListingStats stats = write_trace_listing(out, {1, 2, -2, 3, 2, -3, -1, 9, -9, -2, 3, 0, 2}, points);
    EXPECT_EQ(out.str(),
              "enter #1 a.cpp:10\n"
              "  enter #2 b.cpp:20\n"
              "  leave #2 b.cpp:20\n"
              "  enter #3 c.cpp:30\n"
              "    enter #2 b.cpp:20\n"
              "  leave #3 c.cpp:30\n"  // closes the #2 entered inside it, never left
              "leave #1 a.cpp:10\n"
              "enter #9 (not in the index)\n"
              "leave #9 (not in the index)\n"
              "leave #2 b.cpp:20 (never entered)\n"
              "enter #3 c.cpp:30\n"
              "leave #0 (a point without a number)\n"
              "enter #2 b.cpp:20\n");
    EXPECT_EQ(stats.records, 13u);
    EXPECT_EQ(stats.unknown_points, 2u);
    EXPECT_EQ(stats.unmatched_leaves, 1u);
}
