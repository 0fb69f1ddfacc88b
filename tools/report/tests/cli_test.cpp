// The mirt-report program itself: its options, and its errors.
#include <gtest/gtest.h>

#include "report_fixture.h"
#include "test_support.h"

using mirt_test::RunResult;

namespace {

class ReportCommand : public ::testing::Test {
protected:
    void SetUp() override { folder = mirt_test::make_temp_folder("report-cli"); }
    void TearDown() override { mirt_test::remove_tree(folder); }

    RunResult report(const std::vector<std::string>& args) { return mirt_report_test::run_report(args, folder); }
    std::string file(const std::string& name, const std::string& content) {
        std::string path = mirt_test::join(folder, name);
        mirt_test::write_file(path, content);
        return path;
    }
    std::string read(const std::string& name) { return mirt_test::read_file(mirt_test::join(folder, name)); }

    std::string folder;
};

}  // namespace

TEST_F(ReportCommand, SelectsTestCasesAndReadsStandardInput) {
    std::string two = file("two.out", "=== a\n>>> l\n--- d\n### f\n1,1\n=== b\n>>> l\n--- d\n### f\n1,5\n2,0\n");
    RunResult only_b = report({"lcov", "--test", "b", "--descriptions", "tests.desc", two});
    ASSERT_EQ(only_b.exit_code, 0) << only_b.output;
    EXPECT_EQ(only_b.output, "TN:b\nSF:d/f\nDA:1,5\nDA:2,0\nLF:2\nLH:1\nend_of_record\n");
    EXPECT_EQ(read("tests.desc"), "TN: b\nTD: b [l]\n");

    RunResult missing = report({"summary", "--test", "zzz", two});
    EXPECT_EQ(missing.exit_code, 0);
    EXPECT_NE(missing.output.find("warning: no test case named zzz"), std::string::npos);
    EXPECT_NE(missing.output.find("all 0 test cases: 0 files"), std::string::npos) << missing.output;

    RunResult piped = mirt_test::run_program("/bin/sh", {"-c", std::string(MIRT_REPORT_PROGRAM) + " summary - < two.out"},
                                             {}, folder);
    ASSERT_EQ(piped.exit_code, 0) << piped.output;
    EXPECT_NE(piped.output.find("all 2 test cases: 1 file, 1 of 2 lines hit, 6 hits"), std::string::npos)
        << piped.output;

    RunResult listed = report({"tests-for", "f:2", two});
    EXPECT_EQ(listed.output, "d/f:2: listed, but no test case hits it\n");
    RunResult unlisted = report({"tests-for", "d/f:3", two});
    EXPECT_EQ(unlisted.output, "d/f:3: no test case lists this line\n");
    RunResult as_json = report({"tests-for", "--json", "f:1", two});
    EXPECT_EQ(as_json.output,
              "{\n  \"files\": [\n    {\n      \"file\": \"d/f\",\n      \"hits\": [\n        {\n          \"count\": 1,\n"
              "          \"test\": \"a\"\n        },\n        {\n          \"count\": 5,\n          \"test\": \"b\"\n"
              "        }\n      ],\n      \"listed\": true\n    }\n  ],\n  \"line\": 1\n}\n");

    std::string unordered = file("unordered.out", "=== t\n>>> l\n--- lib\n### mod.cpp\n4,1\n2,1\n");
    EXPECT_NE(report({"summary", unordered}).output.find("1 simple counter hit"), std::string::npos);
    EXPECT_NE(report({"summary", "--lines-stay-with-files", unordered}).output.find("lib/mod.cpp: 2 of 2 lines hit"),
              std::string::npos);

    RunResult running = report({"--running-totals", "summary", file("totals.out", "=== a\n>>> l\n1,1\n=== a\n>>> l\n1,3\n")});
    EXPECT_NE(running.output.find("1 simple counter hit, 3 hits"), std::string::npos) << running.output;
}

TEST_F(ReportCommand, ReportsBadInputWithFileAndLine) {
    std::string bad = file("bad.out", "=== a\n>>> l\n--- d\n### f\n1,1\n1;2\n3,3\n");
    RunResult strict = report({"summary", bad});
    EXPECT_EQ(strict.exit_code, 1);
    EXPECT_EQ(strict.output, bad + ":6: error: not a heading (\"--- \", \"### \"), test name (\"=== \") or count line "
                                   "(<line>,<count>): \"1;2\"\n");

    RunResult lenient = report({"summary", "--lenient", bad});
    EXPECT_EQ(lenient.exit_code, 0);
    EXPECT_NE(lenient.output.find(bad + ":6: warning: "), std::string::npos);
    EXPECT_NE(lenient.output.find("d/f: 2 of 2 lines hit, 4 hits"), std::string::npos) << lenient.output;

    RunResult missing = report({"lcov", "nowhere.out"});
    EXPECT_EQ(missing.exit_code, 1);
    EXPECT_EQ(missing.output, "nowhere.out: error: can't open the file\n");

    std::string good = file("good.out", mirt_report_test::demo_output());
    RunResult unwritable = report({"merge", good, "-o", mirt_test::join(folder, "no/such/folder/x.out")});
    EXPECT_EQ(unwritable.exit_code, 1);
    EXPECT_NE(unwritable.output.find("can't create"), std::string::npos);

    RunResult unknown_file = report({"tests-for", "other.cpp:3", good});
    EXPECT_EQ(unknown_file.exit_code, 1);
    EXPECT_NE(unknown_file.output.find("no file named other.cpp"), std::string::npos);

    RunResult bad_query = report({"tests-for", "demo.cpp:x", good});
    EXPECT_EQ(bad_query.exit_code, 2) << "a usage error";
    EXPECT_NE(bad_query.output.find("is not a 32-bit number"), std::string::npos) << bad_query.output;
    EXPECT_EQ(report({}).exit_code, 2);
    EXPECT_EQ(report({"summary", "--bogus", good}).exit_code, 2);

    // A folder or an empty file is not coverage: said with its name, before
    // genhtml would reject an empty LCOV file.
    RunResult a_folder = report({"summary", folder});
    EXPECT_EQ(a_folder.exit_code, 1);
    EXPECT_EQ(a_folder.output, folder + ": error: is a folder, not a coverage file\n");
    RunResult empty = report({"lcov", file("empty.out", ""), "-o", "x.info"});
    EXPECT_EQ(empty.exit_code, 1);
    EXPECT_NE(empty.output.find("empty.out: error: holds no record group"), std::string::npos) << empty.output;

    file("index.txt", "a.cpp,1\n");
    file("cut.out", std::string("\x01\x00\x00\xff\xff", 5));
    RunResult cut = report({"trace", "cut.out", "-i", "index.txt"});
    EXPECT_EQ(cut.exit_code, 1);
    EXPECT_EQ(cut.output, "cut.out: error: 5 bytes are not a whole number of 3-byte records\n");
    RunResult cut_lenient = report({"--lenient", "trace", "cut.out", "-i", "index.txt"});
    EXPECT_EQ(cut_lenient.exit_code, 0);
    EXPECT_NE(cut_lenient.output.find("enter #1 a.cpp:1\n"), std::string::npos) << cut_lenient.output;

    RunResult no_index = report({"trace", "cut.out", "-i", "none.txt"});
    EXPECT_EQ(no_index.exit_code, 1);
    EXPECT_EQ(no_index.output, "none.txt: error: can't open the index file\n");
}
