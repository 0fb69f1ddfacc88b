// The mirt-report program itself: the demo's output through every sub-command, and its errors.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <tinyxml2.h>

#include "report_fixture.h"
#include "test_support.h"

using mirt_test::RunResult;

namespace {

class ReportCommand : public ::testing::Test {
protected:
    void SetUp() override { folder = mirt_test::make_temp_folder("report-cli"); }
    void TearDown() override { mirt_test::remove_tree(folder); }

    RunResult report(const std::vector<std::string>& args) {
        return mirt_test::run_program(MIRT_REPORT_PROGRAM, args, {{"SOURCE_DATE_EPOCH", std::string("1700000000")}},
                                      folder);
    }
    std::string file(const std::string& name, const std::string& content) {
        std::string path = mirt_test::join(folder, name);
        mirt_test::write_file(path, content);
        return path;
    }
    std::string read(const std::string& name) { return mirt_test::read_file(mirt_test::join(folder, name)); }

    std::string folder;
};

// The index and trace files that the demo leaves: its one named point,
// entered and left ten times.
std::string demo_trace() {
    std::string bytes;
    for (int i = 0; i < 10; ++i) bytes += std::string("\x01\x00\x00\xff\xff\xff", 6);
    return bytes;
}

}  // namespace

TEST_F(ReportCommand, DemoOutputThroughEverySubcommand) {
    std::string demo = file("demo.out", mirt_report_test::demo_output());

    RunResult summary = report({"summary", demo});
    ASSERT_EQ(summary.exit_code, 0) << summary.output;
    EXPECT_EQ(summary.output,
              "test case mirt_demo_data_4242_-1 [unknown]\n"
              "  1 file, 2 of 2 lines hit, 11 hits; 3 simple counters hit, 20 hits\n"
              "    examples/demo.cpp: 2 of 2 lines hit, 11 hits\n"
              "all 1 test case: 1 file, 2 of 2 lines hit, 11 hits; 3 simple counters hit, 20 hits\n");

    RunResult json = report({"summary", "--json", demo});
    ASSERT_EQ(json.exit_code, 0) << json.output;
    nlohmann::json doc = nlohmann::json::parse(json.output);
    EXPECT_EQ(doc["tests"][0]["name"], "mirt_demo_data_4242_-1");
    EXPECT_EQ(doc["tests"][0]["files"][0]["file"], "examples/demo.cpp");
    EXPECT_EQ(doc["tests"][0]["files"][0]["lines_hit"], 2);
    EXPECT_EQ(doc["tests"][0]["hits"], 11);
    EXPECT_EQ(doc["tests"][0]["simple_counters"]["hits"], 20);
    EXPECT_EQ(doc["all"]["test_cases"], 1);

    RunResult lcov = report({"lcov", demo, "-o", "demo.info"});
    ASSERT_EQ(lcov.exit_code, 0) << lcov.output;
    EXPECT_EQ(read("demo.info"),
              "TN:mirt_demo_data_4242__1\nSF:examples/demo.cpp\nDA:8,10\nDA:21,1\nLF:2\nLH:2\nend_of_record\n");

    RunResult cobertura = report({"cobertura", demo, "-o", "demo.xml"});
    ASSERT_EQ(cobertura.exit_code, 0) << cobertura.output;
    tinyxml2::XMLDocument xml;
    ASSERT_EQ(xml.Parse(read("demo.xml").c_str()), tinyxml2::XML_SUCCESS);
    const tinyxml2::XMLElement* coverage = xml.FirstChildElement("coverage");
    EXPECT_EQ(coverage->Int64Attribute("lines-valid"), 2);
    EXPECT_EQ(coverage->Int64Attribute("timestamp"), 1700000000);
    EXPECT_STREQ(coverage->FirstChildElement("packages")->FirstChildElement("package")->Attribute("name"), "examples");

    RunResult hit = report({"tests-for", "demo.cpp:8", demo});
    ASSERT_EQ(hit.exit_code, 0) << hit.output;
    EXPECT_EQ(hit.output, "examples/demo.cpp:8: hit by 1 test case\n  10  mirt_demo_data_4242_-1\n");
    RunResult unlisted = report({"tests-for", "examples/demo.cpp:9", demo});
    EXPECT_EQ(unlisted.output, "examples/demo.cpp:9: no test case lists this line\n");

    RunResult merged = report({"merge", demo, demo, "-o", "merged.out"});
    ASSERT_EQ(merged.exit_code, 0) << merged.output;
    EXPECT_EQ(read("merged.out"),
              "=== mirt_demo_data_4242_-1\n>>> unknown\n1,20\n2,10\n3,10\n--- examples\n### demo.cpp\n8,20\n21,2\n");
    RunResult merged_summary = report({"summary", "merged.out"});
    EXPECT_NE(merged_summary.output.find("examples/demo.cpp: 2 of 2 lines hit, 22 hits"), std::string::npos)
        << merged_summary.output;

    file("index.txt", "examples/demo.cpp,8\n");
    file("trace.out", demo_trace());
    RunResult trace = report({"trace", "--index", "index.txt"});
    ASSERT_EQ(trace.exit_code, 0) << trace.output;
    std::string expected;
    for (int i = 0; i < 10; ++i) expected += "enter #1 examples/demo.cpp:8\nleave #1 examples/demo.cpp:8\n";
    EXPECT_EQ(trace.output, expected);
}

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
    EXPECT_NE(bad_query.exit_code, 0);
    EXPECT_NE(bad_query.output.find("is not a 32-bit number"), std::string::npos) << bad_query.output;

    RunResult no_command = report({});
    EXPECT_NE(no_command.exit_code, 0);

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
