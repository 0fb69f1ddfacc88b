// Reports with the build's line maps: never-run lines, files no test ran,
// functions, thresholds, filters, exclusion markers and changed lines.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <sstream>

#include "tools/report/changes.h"
#include "tools/report/line_map.h"
#include "tests/support/contains.h"
#include "tests/tools/report/report_fixture.h"

using mirt_test::contains;
using mirt_test::RunResult;
using namespace mirt_report;

namespace {

std::string map_text(const std::string& checksum, int64_t built, const std::string& body) {
    return "mirt-line-map 1\nunit x\nfolder /build\nbuilt " + std::to_string(built) + "\nstyle table\nfile " +
           checksum + " " + body + "end\n";
}

MapUnit read_map(const std::string& text, std::vector<Diagnostic>* diagnostics = nullptr) {
    std::istringstream in(text);
    MapUnit unit;
    std::vector<Diagnostic> d;
    bool ok = read_line_map(in, "m.mirtmap", unit, diagnostics ? *diagnostics : d);
    EXPECT_EQ(ok, diagnostics == nullptr);
    return unit;
}

class MapReport : public mirt_report_test::ReportFolder {
protected:
    void SetUp() override {
        ReportFolder::SetUp();
        source = mirt_test::join(folder, "a.cpp");
        // Two test cases ran a.cpp; b.c (in the map) never ran; line 20 of
        // a.cpp was counted but is in no map; c.c was built without probes.
        file("run.out", "=== t1\n>>> l\n--- " + folder + "\n### a.cpp\n3,2\n4,2\n20,5\n"
                        "=== t2\n>>> l\n--- " + folder + "\n### a.cpp\n3,1\n");
        mkdir(mirt_test::join(folder, "build").c_str(), 0700);
        file("build/a.o.mirtmap", map_text("00000000000000aa", 5, source + "\nlines 3 4 6 7 9\n"
                                           "function 3 5 f()\nfunction 6 10 g(int)\n"));
        file("build/b.o.mirtmap", map_text("00000000000000bb", 5, "/zz/b.c\nlines 1 2\nfunction 1 2 h\n"));
        file("build/c.o.mirtmap", map_text("00000000000000cc", 5, "/zz/c.c\nunprobed Clang could not parse it\n"));
    }
    RunResult report(std::vector<std::string> args, bool with_map = true) {
        if (with_map) args.insert(args.begin(), {"--map", "build"});
        return mirt_report_test::run_report(args, folder, true);
    }
    std::string source;
};

}  // namespace

TEST_F(MapReport, SummaryShowsWhatNeverRan) {
    RunResult r = report({"summary", "run.out"});
    ASSERT_EQ(r.exit_code, 0) << r.output;
    EXPECT_EQ(r.output,
              "test case t1 [l]\n"
              "  2 files, 3 of 8 lines hit (37.5%), 9 hits, 1 of 3 functions called\n"
              "    " + source + ": 3 of 6 lines hit (50.0%), 9 hits, 1 of 2 functions called; never run: 6-9\n"
              "    /zz/b.c: 0 of 2 lines hit (0.0%), 0 hits, 0 of 1 function called; never run: 1-2\n"
              "test case t2 [l]\n"
              "  2 files, 1 of 7 lines hit (14.2%), 1 hit, 1 of 3 functions called\n"
              "    " + source + ": 1 of 5 lines hit (20.0%), 1 hit, 1 of 2 functions called; never run: 4-9\n"
              "    /zz/b.c: 0 of 2 lines hit (0.0%), 0 hits, 0 of 1 function called; never run: 1-2\n"
              "all 2 test cases: 2 files, 3 of 8 lines hit (37.5%), 10 hits, 1 of 3 functions called\n"
              "    " + source + ": 3 of 6 lines hit (50.0%), 10 hits, 1 of 2 functions called; never run: 6-9\n"
              "    /zz/b.c: 0 of 2 lines hit (0.0%), 0 hits, 0 of 1 function called; never run: 1-2\n"
              "built without probes: /zz/c.c (Clang could not parse it)\n");

    // --map may follow the sub-command and its files.
    EXPECT_EQ(report({"summary", "run.out", "--map", "build"}, false).output, r.output);
    // Without --map the maps are found below the current folder.
    EXPECT_EQ(report({"summary", "run.out"}, false).output, r.output);
    std::string elsewhere = mirt_test::join(folder, "elsewhere");
    mkdir(elsewhere.c_str(), 0700);
    RunResult without = mirt_report_test::run_report({"summary", "../run.out"}, elsewhere, true);
    EXPECT_TRUE(contains(without.output, mirt_report_test::no_map_warning()));
    EXPECT_TRUE(contains(without.output, "all 2 test cases: 1 file, 3 of 3 lines hit, 10 hits\n"));
    EXPECT_EQ(report({"--map", "missing", "summary", "run.out"}, false).exit_code, 1);

    // Thresholds: 37.5% passes 37.5 and fails 37.6, with a status of its own.
    EXPECT_EQ(report({"--fail-under", "37.5", "summary", "run.out"}).exit_code, 0);
    RunResult low = report({"--fail-under", "37.6", "lcov", "run.out", "-o", "x.info"});
    EXPECT_EQ(low.exit_code, 3);
    EXPECT_TRUE(contains(low.output, "line coverage 37.5% is below 37.6%"));
}

TEST_F(MapReport, LcovAndCoberturaCountNeverRunLinesAndFunctions) {
    RunResult r = report({"lcov", "--test", "t2", "run.out"});
    ASSERT_EQ(r.exit_code, 0) << r.output;
    EXPECT_EQ(r.output, "TN:t2\nSF:" + source + "\nFN:3,f()\nFN:6,g(int)\nFNDA:1,f()\nFNDA:0,g(int)\n"
                        "FNF:2\nFNH:1\nDA:3,1\nDA:4,0\nDA:6,0\nDA:7,0\nDA:9,0\nLF:5\nLH:1\nend_of_record\n"
                        "SF:/zz/b.c\nFN:1,h\nFNDA:0,h\nFNF:1\nFNH:0\nDA:1,0\nDA:2,0\nLF:2\nLH:0\nend_of_record\n");

    RunResult xml = report({"--source-root", folder, "cobertura", "run.out"});
    ASSERT_EQ(xml.exit_code, 0) << xml.output;
    EXPECT_TRUE(contains(xml.output, "line-rate=\"0.3750\""));
    EXPECT_TRUE(contains(xml.output, "<class name=\"a.cpp\" filename=\"a.cpp\" line-rate=\"0.5000\""));
    EXPECT_TRUE(contains(xml.output, "<method name=\"g(int)\" signature=\"\" line-rate=\"0.0000\""));
    EXPECT_TRUE(contains(xml.output, "<line number=\"6\" hits=\"0\""));
    EXPECT_TRUE(contains(xml.output, "<source>" + folder + "</source>"));
}

TEST_F(MapReport, FiltersRootsAndExclusionMarkers) {
    mirt_test::write_file(source, "1\n2\n3\n4 // LCOV_EXCL_LINE\n5\n6 LCOV_EXCL_START\n7\n8 LCOV_EXCL_STOP\n9\n");
    RunResult r = report({"--source-root", folder, "--exclude", "*.c", "--exclude", "*.h", "summary", "--test",
                          "t1", "run.out"});
    ASSERT_EQ(r.exit_code, 0) << r.output;
    // Lines 4 and 6 to 8 are excluded, and g(int), which starts on line 6;
    // line 20, past the source's end, stays.
    EXPECT_TRUE(contains(r.output, "  1 file, 2 of 3 lines hit (66.6%), 7 hits, 1 of 1 function called\n"
                                   "    a.cpp: 2 of 3 lines hit (66.6%), 7 hits, 1 of 1 function called; never run: 9\n"));
    // Each of the options repeats.
    RunResult only_c = report({"--include", "/zz/*", "--include", "/none/*", "summary", "--test", "t1", "run.out"});
    EXPECT_TRUE(contains(only_c.output, "  1 file, 0 of 2 lines hit (0.0%)"));
}

TEST(LineMap, NewestVersionWinsAndOneVersionJoins) {
    LineMap map;
    map.add(read_map(map_text("0000000000000001", 10, "a.h\nlines 1 2\nfunction 1 2 f\n")));
    map.add(read_map(map_text("0000000000000001", 20, "a.h\nlines 2 3\nfunction 3 3 g\n")));
    ASSERT_NE(map.find("a.h"), nullptr);
    EXPECT_EQ(map.find("a.h")->lines, (std::set<int32_t>{1, 2, 3})) << "one version in two units joins";
    EXPECT_EQ(map.find("a.h")->functions.size(), 2u);
    map.add(read_map(map_text("0000000000000002", 15, "a.h\nlines 7\n")));
    EXPECT_EQ(map.find("a.h")->lines, (std::set<int32_t>{1, 2, 3})) << "an older version is left out";
    map.add(read_map(map_text("0000000000000002", 30, "a.h\nlines 8\n")));
    EXPECT_EQ(map.find("a.h")->lines, (std::set<int32_t>{8})) << "a newer version replaces the rest";

    struct Broken {
        std::string text;
        std::size_t line;
        std::string message;
    };
    for (const Broken& b : std::vector<Broken>{
             {"mirt-line-map 2\n", 1, "not a line map of this version"},
             {map_text("0000000000000001", 1, "a.h\nlines 1 x\n"), 7, "bad line number \"x\""},
             {map_text("01", 1, "a.h\n"), 6, "expected \"file CHECKSUM NAME\""},
             {map_text("0000000000000001", 1, "a.h\nfunction 3 f\n"), 7, "expected \"function FIRST LAST NAME\""},
             {map_text("0000000000000001", 1, "a.h\nsum 4 3\n"), 7, "expected \"sum LINE LINE LINE\""},
             {"mirt-line-map 1\nlines 1\n", 2, "\"lines\" before any file"},
             {"mirt-line-map 1\nunit x\n", 3, "the map ends before its \"end\" line (cut short?)"},
         }) {
        std::vector<Diagnostic> d;
        read_map(b.text, &d);
        ASSERT_EQ(d.size(), 1u) << b.text;
        EXPECT_EQ(to_string(d[0]), "m.mirtmap:" + std::to_string(b.line) + ": error: " + b.message);
    }
}

// A broken diff stops the reading with one diagnostic.
TEST(Changes, UnifiedDiffsGiveTheNewVersionsLines) {
    const std::string git_header = "diff --git a/src/a.c b/src/a.c\nindex 1..2 100644\n--- a/src/a.c\n+++ b/src/a.c\n";
    const struct {
        std::string diff;
        ChangedLines expected;
        bool read = true;
    } cases[] = {
        // Context, removed and added lines; a second hunk; "\ No newline".
        {git_header + "@@ -1,3 +1,4 @@\n a\n-b\n+B\n+C\n c\n@@ -10 +11,2 @@\n-x\n+y\n+z\n\\ No newline at end of file\n",
         {{"src/a.c", {2, 3, 11, 12}}}},
        // diff -u with time stamps; a quoted git name; a deleted file.
        {"--- a.c\t2026-01-01\n+++ a.c\t2026-01-02\n@@ -0,0 +1 @@\n+new\n"
         "--- a/x\n+++ \"b/sp ace\\303\\251.c\"\n@@ -1 +1 @@\n-a\n+b\n"
         "--- a/gone.c\n+++ /dev/null\n@@ -1 +0,0 @@\n-a\n",
         {{"a.c", {1}}, {"sp ace\xc3\xa9.c", {1}}}},
        // A line that looks like a header inside a hunk is an added line.
        {"+++ b/m.c\n@@ -1,0 +1,2 @@\n++++ b/not.c\n+@@ -1 +1 @@\n", {{"m.c", {1, 2}}}},
        {"+++ b/a\n@@ -1,2 +1,2 @@\n a\n", {}, false},
        {"+++ b/a\n@@ -x +1 @@\n", {}, false},
        {"+++ b/a\n@@ -1 +1 @@\n?\n", {}, false},
    };
    for (const auto& c : cases) {
        std::istringstream in(c.diff);
        ChangedLines changed;
        std::vector<Diagnostic> d;
        EXPECT_EQ(read_unified_diff(in, "p.diff", changed, d), c.read) << c.diff;
        if (c.read) EXPECT_EQ(changed, c.expected) << c.diff;
        else EXPECT_TRUE(d.size() == 1 && d[0].source == "p.diff") << c.diff;
    }
}

TEST_F(MapReport, ChangedLinesAndTheTestsThatRanThem) {
    // Lines 3 (ran), 4 (ran in t1), 5 (no code), 6 (never ran) of a.cpp change.
    file("change.diff", "--- a/a.cpp\n+++ b/a.cpp\n@@ -3,0 +3,4 @@\n+x\n+x\n+x\n+x\n");
    RunResult r = report({"changed", "change.diff", "run.out"});
    ASSERT_EQ(r.exit_code, 0) << r.output;
    EXPECT_EQ(r.output, "changed lines that could run: 3, ran: 2 (66.6%)\n    " + source +
                            ": 2 of 3 ran (66.6%); never run: 6\n");
    EXPECT_EQ(report({"--fail-under", "70", "changed", "change.diff", "run.out"}).exit_code, 3);
    RunResult tests = report({"tests-for", "--diff", "change.diff", "run.out"}, false);
    EXPECT_EQ(tests.output, "2 test cases ran changed lines\n  2  t1\n  1  t2\n");
}

// Branch counters come from the "FILE#branches" tables; the map names their
// outcomes and adds the ones never taken. Lines 4 and 7 have no counter and
// count what lines 3 and 6 count; line 9, a loop's condition, what lines 3
// and 10 count together.
TEST_F(MapReport, BranchOutcomesInEveryFormat) {
    file("br.out", "=== t\n>>> l\n--- /zz\n### br.c\n3,4\n6,0\n10,2\n### br.c#branches\n300,3\n301,1\n");
    mkdir(mirt_test::join(folder, "brmap").c_str(), 0700);
    file("brmap/br.o.mirtmap", map_text("00000000000000dd", 5, "/zz/br.c\nlines 3 6 10\nsame 4 3\nsame 7 6\nsum 9 3 10\n"
                                        "branch 3 300 0 0 if true\nbranch 3 301 0 1 if false\n"
                                        "branch 6 600 0 0 ?: true\nbranch 6 601 0 1 ?: false\n"));
    auto run = [&](std::vector<std::string> args) {
        args.insert(args.begin(), {"--map", "brmap"});
        args.push_back("br.out");
        return mirt_report_test::run_report(args, folder, true);
    };
    EXPECT_TRUE(contains(run({"summary"}).output, "    /zz/br.c: 4 of 6 lines hit (66.6%), 16 hits, 2 of 4 branch outcomes "
                                                  "taken (50.0%); never run: 6-7; never taken: 6 ?: true, 6 ?: false\n"));
    EXPECT_TRUE(contains(run({"lcov"}).output, "BRDA:3,0,0,3\nBRDA:3,0,1,1\nBRDA:6,0,0,-\nBRDA:6,0,1,-\nBRF:4\nBRH:2\n"));
    RunResult xml = run({"cobertura"});
    EXPECT_TRUE(contains(xml.output, "<line number=\"3\" hits=\"4\" branch=\"true\" condition-coverage=\"100% (2/2)\"/>") &&
                contains(xml.output, "branches-covered=\"2\" branches-valid=\"4\""));
    EXPECT_EQ(run({"--fail-under-branch", "50", "summary"}).exit_code, 0);
    EXPECT_EQ(run({"--fail-under-branch", "51", "summary"}).exit_code, 3);
    // Without the map, the counters that were written still read as branches.
    RunResult raw = mirt_report_test::run_report({"--map", "build/c.o.mirtmap", "lcov", "br.out"}, folder);
    EXPECT_TRUE(contains(raw.output, "SF:/zz/br.c\nBRDA:3,0,0,3\nBRDA:3,0,1,1\nBRF:2\nBRH:2\n"));
    EXPECT_EQ(raw.output.find("br.c#branches"), std::string::npos);
    // An object that counted line 4 itself (built from br.c with other
    // macros) leaves the line's count short; the report says where.
    file("mixed.out", "=== t\n>>> l\n--- /zz\n### br.c\n3,4\n4,2\n");
    EXPECT_TRUE(contains(report({"--map", "brmap", "summary", "mixed.out"}, false).output,
                         "mirt-report: warning: /zz/br.c:4 has a counter in some objects"));
}
