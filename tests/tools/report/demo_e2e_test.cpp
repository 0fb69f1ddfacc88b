// The demo program's real output through mirt-report, lcov and genhtml.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/support/contains.h"
#include "tests/tools/report/report_fixture.h"

using mirt_test::contains;
using mirt_test::RunResult;
using DemoReport = mirt_report_test::ReportFolder;

// What the demo writes with a fresh index file (points listed in it start
// with one hit), summed up; then its LCOV export through lcov and genhtml,
// with the demo's own source file in the per-test view. (Merge: the writer's
// and the inputs' tests; the trace's bytes: the runtime's and the decoder's.)
TEST_F(DemoReport, SummaryLcovAndGenhtmlReadTheDemoOutput) {
    mirt_test::remove_file(mirt_test::index_file_path());
    RunResult demo = mirt_test::run_program(MIRT_DEMO_PROGRAM, {"demo.out"}, {}, folder);
    ASSERT_EQ(demo.exit_code, 0) << demo.output;
    // The hand-written copy that the reader's own tests use is what the demo writes.
    ASSERT_EQ(read("demo.out"), mirt_report_test::demo_output());

    RunResult summary = report({"summary", "demo.out"});
    ASSERT_EQ(summary.exit_code, 0) << summary.output;
    EXPECT_EQ(summary.output,
              "test case demo.vowels [example]\n"
              "  2 files, 7 of 7 lines hit, 132 hits; 3 simple counters hit, 58 hits\n"
              "    examples/demo.cpp: 5 of 5 lines hit, 88 hits\n"
              "    examples/text/helpers.cpp: 2 of 2 lines hit, 44 hits\n"
              "test case demo.words [example]\n"
              "  1 file, 3 of 3 lines hit, 55 hits\n"
              "    examples/demo.cpp: 3 of 3 lines hit, 55 hits\n"
              "all 2 test cases: 2 files, 10 of 10 lines hit, 187 hits; 3 simple counters hit, 58 hits\n");
    nlohmann::json doc = nlohmann::json::parse(report({"summary", "--json", "demo.out"}).output);
    EXPECT_EQ(doc["tests"][1]["name"], "demo.words");
    EXPECT_EQ(doc["tests"][1]["files"][0]["hits"], 55);
    EXPECT_EQ(doc["all"]["lines_hit"], 10);
    EXPECT_EQ(doc["all"]["test_cases"], 2);

    mirt_test::remove_file(mirt_test::index_file_path());

    ASSERT_FALSE(std::string(MIRT_LCOV).empty()) << "lcov is not installed (scripts/setup.sh installs it)";
    ASSERT_EQ(report({"lcov", "demo.out", "-o", "demo.info", "--descriptions", "demo.desc"}).exit_code, 0);
    std::string info = mirt_test::join(folder, "demo.info");
    RunResult lcov = mirt_test::run_program(MIRT_LCOV, {"--summary", info});
    EXPECT_EQ(lcov.exit_code, 0) << lcov.output;
    const std::string all_lines = "lines......: 100.0% (10 of 10 lines)";
    EXPECT_TRUE(contains(lcov.output, all_lines));
    // From the source tree, where the data's relative names point; the
    // demo's helpers.cpp is a name only, hence --ignore-errors source.
    std::string html = mirt_test::join(folder, "html");
    RunResult genhtml = mirt_test::run_program(
        MIRT_GENHTML, {"--show-details", "--ignore-errors", "source", "--description-file",
                       mirt_test::join(folder, "demo.desc"), "-o", html, info},
        {}, MIRT_SOURCE_DIR);
    EXPECT_EQ(genhtml.exit_code, 0) << genhtml.output;
    EXPECT_EQ(genhtml.output.find("ERROR"), std::string::npos) << genhtml.output;
    // Only the missing source is warned of.
    for (const std::string& line : mirt_test::lines_of(genhtml.output)) {
        bool warning = line.find("WARNING") != std::string::npos;
        EXPECT_TRUE(!warning || line.find("helpers.cpp") != std::string::npos) << line;
    }
    EXPECT_TRUE(contains(genhtml.output, all_lines));
    EXPECT_TRUE(contains(read("html/examples/demo.cpp.gcov.html"), "mirt_obj scope(this_file, 29);"));
    EXPECT_TRUE(contains(read("html/examples/index-detail.html"), "demo_vowels"));
    EXPECT_TRUE(contains(read("html/examples/index-detail.html"), "demo_words"));
    EXPECT_TRUE(contains(read("html/descriptions.html"), "demo.words [example]"));
}
