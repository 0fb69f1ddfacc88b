// Summing by test case, file and line; reading files; writing the format back (merge).
#include <gtest/gtest.h>

#include <limits>
#include <sstream>

#include "tools/report/coverage_writer.h"
#include "tools/report/inputs.h"
#include "tests/tools/report/report_fixture.h"

using namespace mirt_report;
using mirt_report_test::set_of;
using CoverageFiles = mirt_report_test::ReportFolder;

TEST(CoverageData, SumsSaturateAtTheLargestCount) {
    const int64_t top = std::numeric_limits<int64_t>::max();
    for (auto [total, add, sum] : {std::tuple<int64_t, int64_t, int64_t>{top - 1, 1, top}, {top, 5, top}, {2, 3, 5}}) {
        add_count(total, add);
        EXPECT_EQ(total, sum);
    }
}

// Runs spread over machines: the same test case in several files is summed,
// or, for writes without a clear in between, only each file's last group
// counts; a missing or malformed file adds nothing, not even the good first
// group of a file that breaks later.
TEST_F(CoverageFiles, FilesAreSummedPerTestCaseFileAndLineUnlessBroken) {
    std::string a = file("a.out", "=== t\n>>> l\n--- d\n### f\n1,1\n2,0\n=== u\n>>> l\n1,1\n"
                                  "=== t\n>>> l\n--- d\n### f\n1,3\n");
    std::string b = file("b.out", "=== t\n>>> m\n--- d\n### f\n2,3\n### g\n4,4\n");
    std::vector<Diagnostic> diagnostics;
    CoverageSet set, running;
    ASSERT_TRUE(load_coverage({a, b}, LoadOptions{}, set, diagnostics));
    EXPECT_TRUE(diagnostics.empty());
    EXPECT_EQ(set.find("t")->files.at("d/f"), (LineCounts{{1, 4}, {2, 3}}));
    EXPECT_EQ(set.find("t")->files.at("d/g"), (LineCounts{{4, 4}}));
    EXPECT_EQ(set.find("t")->labels, (std::vector<std::string>{"l", "m"}));
    EXPECT_EQ(set.tests().size(), 2u);
    LoadOptions options;
    options.running_totals = true;
    ASSERT_TRUE(load_coverage({a, b}, options, running, diagnostics));
    EXPECT_EQ(running.find("t")->files.at("d/f"), (LineCounts{{1, 3}, {2, 3}}));
    EXPECT_EQ(running.find("t")->record_groups, 3u);

    std::string bad = file("bad.out", "=== u\n>>> l\n5,5\n=== v\n>>> l\nnonsense\n");
    CoverageSet partial;
    EXPECT_FALSE(load_coverage({mirt_test::join(folder, "none.out"), bad, b}, LoadOptions{}, partial, diagnostics));
    ASSERT_EQ(diagnostics.size(), 2u);
    EXPECT_EQ(to_string(diagnostics[0]), mirt_test::join(folder, "none.out") + ": error: can't open the file");
    EXPECT_EQ(diagnostics[1].source, bad);
    EXPECT_EQ(diagnostics[1].line, 6u);
    ASSERT_EQ(partial.tests().size(), 1u);
    EXPECT_EQ(partial.tests()[0].name, "t");
}

// What merge writes: the runtime's own format, a directory heading only where
// the directory changes, keys split at their last slash as the runtime splits
// them; it reads back as the same test cases, also where the simple
// counters' numbers continue above the last file's lines.
TEST(CoverageWriter, WritesTheRuntimesFormatThatReadsBackUnchanged) {
    CoverageSet set = set_of(
        "=== first\n>>> Optimize\n### a.cpp\n5,5\n--- dir\n### \n6,1\n"
        "--- src\n### a.cpp\n3,1\n4,0\n### b.cpp\n1,1\n"
        "--- C:\\w\\b.cpp\n### C:\\w\\b.cpp\n2,2\n"
        "### c.cpp\n1,1\n"
        "=== header only\n>>> unknown\n"
        "=== counters\n>>> l\n1,1\n2,2\n--- src\n### a.cpp\n3,3\n");
    TestCase high;
    high.name = "high counters";
    high.labels = {"l"};
    high.record_groups = 1;
    high.files["src/z.cpp"] = {{1, 1}, {2, 0}};
    high.simple_counters = {{50, 1}, {60, 2}};
    set.add(high);

    std::ostringstream out;
    write_coverage(out, set);
    EXPECT_EQ(out.str(),
              "=== first\n>>> Optimize\n### a.cpp\n5,5\n--- C:\\w\\b.cpp\n### C:\\w\\b.cpp\n2,2\n### c.cpp\n1,1\n"
              "--- dir\n### \n6,1\n"
              "--- src\n### a.cpp\n3,1\n4,0\n### b.cpp\n1,1\n"
              "=== header only\n>>> unknown\n"
              "=== counters\n>>> l\n1,1\n2,2\n--- src\n### a.cpp\n3,3\n"
              "=== high counters\n>>> l\n50,1\n60,2\n--- src\n### z.cpp\n1,1\n2,0\n");
    CoverageSet again = set_of(out.str());
    ASSERT_EQ(again.tests().size(), set.tests().size());
    for (std::size_t i = 0; i < set.tests().size(); ++i) {
        EXPECT_EQ(again.tests()[i].files, set.tests()[i].files) << set.tests()[i].name;
        EXPECT_EQ(again.tests()[i].simple_counters, set.tests()[i].simple_counters) << set.tests()[i].name;
    }
}
