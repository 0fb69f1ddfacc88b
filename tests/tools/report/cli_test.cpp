// The mirt-report program itself: its options, and its errors.
#include <gtest/gtest.h>

#include "tests/support/contains.h"
#include "tests/tools/report/report_fixture.h"

using mirt_test::contains;
using mirt_test::RunResult;

using ReportCommand = mirt_report_test::ReportFolder;

TEST_F(ReportCommand, SelectsTestCasesAndReadsStandardInput) {
    std::string two = file("two.out", "=== a\n>>> l\n--- d\n### f\n1,1\n=== b\n>>> l\n--- d\n### f\n1,5\n2,0\n");
    RunResult only_b = report({"lcov", "--test", "b", "--descriptions", "tests.desc", two});
    ASSERT_EQ(only_b.exit_code, 0) << only_b.output;
    EXPECT_EQ(only_b.output, "TN:b\nSF:d/f\nDA:1,5\nDA:2,0\nLF:2\nLH:1\nend_of_record\n");
    EXPECT_EQ(read("tests.desc"), "TN: b\nTD: b [l]\n");

    RunResult missing = report({"summary", "--test", "zzz", two});
    EXPECT_EQ(missing.exit_code, 0);
    EXPECT_TRUE(contains(missing.output, "warning: no test case named zzz"));
    EXPECT_TRUE(contains(missing.output, "all 0 test cases: 0 files"));

    RunResult piped = mirt_test::run_program("/bin/sh", {"-c", std::string(MIRT_REPORT_PROGRAM) + " summary - < two.out"},
                                             {}, folder);
    ASSERT_EQ(piped.exit_code, 0) << piped.output;
    EXPECT_TRUE(contains(piped.output, "all 2 test cases: 1 file, 1 of 2 lines hit, 6 hits"));

    EXPECT_EQ(report({"tests-for", "f:2", two}).output, "d/f:2: listed, but no test case hits it\n");
    EXPECT_EQ(report({"tests-for", "d/f:3", two}).output, "d/f:3: no test case lists this line\n");
    EXPECT_EQ(report({"tests-for", "--json", "f:1", two}).output,
              "{\n  \"files\": [\n    {\n      \"file\": \"d/f\",\n      \"hits\": [\n        {\n          \"count\": 1,\n"
              "          \"test\": \"a\"\n        },\n        {\n          \"count\": 5,\n          \"test\": \"b\"\n"
              "        }\n      ],\n      \"listed\": true\n    }\n  ],\n  \"line\": 1\n}\n");

    std::string unordered = file("unordered.out", "=== t\n>>> l\n--- lib\n### mod.cpp\n4,1\n2,1\n");
    EXPECT_TRUE(contains(report({"summary", unordered}).output, "1 simple counter hit"));
    EXPECT_TRUE(contains(report({"summary", "--lines-stay-with-files", unordered}).output, "lib/mod.cpp: 2 of 2 lines hit"));

    RunResult running = report({"--running-totals", "summary", file("totals.out", "=== a\n>>> l\n1,1\n=== a\n>>> l\n1,3\n")});
    EXPECT_TRUE(contains(running.output, "1 simple counter hit, 3 hits"));
}

// Each bad input or usage: its exit status (1 bad input, 2 usage) and what is said.
TEST_F(ReportCommand, ReportsBadInputWithFileAndLine) {
    std::string bad = file("bad.out", "=== a\n>>> l\n--- d\n### f\n1,1\n1;2\n3,3\n");
    std::string good = file("good.out", mirt_report_test::demo_output());
    file("empty.out", "");
    file("index.txt", "a.cpp,1\n");
    file("cut.out", std::string("\x01\x00\x00\xff\xff", 5));
    const struct {
        std::vector<std::string> args;
        int exit_code;
        std::string said;  // the whole output when exact, else a part of it
        bool exact;
    } cases[] = {
        {{"summary", bad}, 1, bad + ":6: error: not a heading (\"--- \", \"### \"), test name (\"=== \") or count line "
                                    "(<line>,<count>): \"1;2\"\n", true},
        {{"summary", "--lenient", bad}, 0, bad + ":6: warning: ", false},
        {{"summary", "--lenient", bad}, 0, "d/f: 2 of 2 lines hit, 4 hits", false},
        {{"lcov", "nowhere.out"}, 1, "nowhere.out: error: can't open the file\n", true},
        {{"merge", good, "-o", mirt_test::join(folder, "no/such/folder/x.out")}, 1, "can't create", false},
        {{"tests-for", "other.cpp:3", good}, 1, "no file named other.cpp", false},
        {{"tests-for", "demo.cpp:x", good}, 2, "is not a 32-bit number", false},
        {{}, 2, "", false},
        {{"summary", "--bogus", good}, 2, "", false},
        // A folder or an empty file is not coverage: said with its name, before
        // genhtml would reject an empty LCOV file.
        {{"summary", folder}, 1, folder + ": error: is a folder, not a coverage file\n", true},
        {{"lcov", "empty.out", "-o", "x.info"}, 1, "empty.out: error: holds no record group", false},
        {{"trace", "cut.out", "-i", "index.txt"}, 1, "cut.out: error: 5 bytes are not a whole number of 3-byte records\n",
         true},
        {{"--lenient", "trace", "cut.out", "-i", "index.txt"}, 0, "enter #1 a.cpp:1\n", false},
        {{"trace", "cut.out", "-i", "none.txt"}, 1, "none.txt: error: can't open the index file\n", true},
    };
    for (const auto& c : cases) {
        RunResult r = report(c.args);
        EXPECT_EQ(r.exit_code, c.exit_code) << r.output;
        if (c.exact) EXPECT_EQ(r.output, c.said);
        else EXPECT_TRUE(contains(r.output, c.said));
    }
}
