// The coverage file reader: every section form, simple counters, record groups and malformed input.
#include <gtest/gtest.h>

#include "tests/tools/report/report_fixture.h"

using namespace mirt_report;
using mirt_report_test::parse_text;

namespace {

const LineCounts& lines_of(const TestCase& t, const std::string& file) {
    static const LineCounts none;
    auto found = t.files.find(file);
    return found == t.files.end() ? none : found->second;
}

}  // namespace

// A record group with all five sections as the runtime writes them: the
// point-hit section (points listed twice, one right after its file heading,
// a zero count, a backslash key), the source-line section repeating a
// directory heading, the simple counters, a static registration with its
// lines out of order, and a module section naming a file already seen. Then
// keys rebuilt from heading pairs: a key without a forward slash is a pair
// with the whole key twice; a case-insensitive section leaves out the
// directory heading of a key that differs from the one before only in case,
// and shares one directory heading between keys whose directories differ
// only in case.
TEST(CoverageParser, ReadsEverySectionOfARecordGroup) {
    const struct {
        std::string text;
        FileCounts files;
        LineCounts simple;
    } cases[] = {
        {"--- src/app\n### main.cpp\n10,3\n10,2\n12,0\n### util.cpp\n5,1\n5,2\n"
         "--- C:\\w\\a.cpp\n### C:\\w\\a.cpp\n7,2\n--- src/app\n### main.cpp\n14,9\n1,4\n2,6\n"
         "--- src/lib\n### reg.cpp\n30,1\n20,2\n--- src/app\n### main.cpp\n10,1\n",
         {{"src/app/main.cpp", {{10, 6}, {12, 0}, {14, 9}}}, {"src/app/util.cpp", {{5, 3}}},
          {"C:\\w\\a.cpp", {{7, 2}}}, {"src/lib/reg.cpp", {{20, 2}, {30, 1}}}},
         {{1, 4}, {2, 6}}},
        {"### a.cpp\n3,1\n--- C:\\x\\A.cpp\n### C:\\x\\A.cpp\n1,1\n### c:\\x\\a.cpp\n2,1\n"
         "--- C:/Work\n### a.cpp\n1,1\n### b.cpp\n2,2\n--- plain\n### plain\n4,4\n--- dir\n### \n6,1\n",
         {{"/a.cpp", {{3, 1}}},  // the key's only slash is its first byte
          {"C:\\x\\A.cpp", {{1, 1}}}, {"c:\\x\\a.cpp", {{2, 1}}}, {"C:/Work/a.cpp", {{1, 1}}},
          {"C:/Work/b.cpp", {{2, 2}}}, {"plain", {{4, 4}}}, {"dir/", {{6, 1}}}},
         {}},
    };
    for (const auto& c : cases) {
        auto p = parse_text("=== full\n>>> Optimize\n" + c.text);
        ASSERT_TRUE(p.ok) << to_string(p.diagnostics.at(0));
        ASSERT_EQ(p.groups.size(), 1u);
        const TestCase& g = p.groups[0];
        EXPECT_EQ(g.name, "full");
        EXPECT_EQ(g.labels, std::vector<std::string>{"Optimize"});
        EXPECT_EQ(g.record_groups, 1u);
        EXPECT_EQ(g.files, c.files);
        EXPECT_EQ(g.simple_counters, c.simple);
    }
}

// Where count lines go: before any heading they are simple counters; under
// a file heading a falling line number opens the simple counters only while
// the rest of the group could be simple counters (ascending, above zero, no
// zero count), unless the reader is told to keep lines with their file.
TEST(CoverageParser, CountLinesGoWithTheirFileOrTheSimpleCounters) {
    const struct {
        std::string text;
        LineCounts file, simple;  // the lines of d/f.cpp; the simple counters
        bool keep_with_files = false;
    } cases[] = {
        {"5,3\n", {}, {{5, 3}}},
        {"1,2\n7,1\n--- d\n### f.cpp\n3,1\n1,1\n", {{1, 1}, {3, 1}}, {{1, 2}, {7, 1}}},
        {"--- d\n### f.cpp\n40,1\n5,2\n3,1\n", {{3, 1}, {5, 2}, {40, 1}}, {}},
        {"--- d\n### f.cpp\n40,1\n5,2\n6,0\n", {{5, 2}, {6, 0}, {40, 1}}, {}},
        {"--- d\n### f.cpp\n40,1\n-3,2\n", {{-3, 2}, {40, 1}}, {}},
        {"--- d\n### f.cpp\n40,1\n5,2\n6,1\n### g.cpp\n9,9\n", {{40, 1}}, {{5, 2}, {6, 1}}},
        {"--- d\n### f.cpp\n4,1\n2,1\n3,5\n", {{4, 1}}, {{2, 1}, {3, 5}}},
        {"--- d\n### f.cpp\n4,1\n2,1\n3,5\n", {{2, 1}, {3, 5}, {4, 1}}, {}, true},
        {"--- d\r\n### f.cpp\r\n3,4\r\n", {{3, 4}}, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        ParseOptions options;
        options.find_simple_counters_after_files = !c.keep_with_files;
        auto p = parse_text("=== t\r\n>>> l\n" + c.text, options);
        ASSERT_TRUE(p.ok);
        EXPECT_EQ(p.groups.at(0).name, "t");
        EXPECT_EQ(lines_of(p.groups.at(0), "d/f.cpp"), c.file);
        EXPECT_EQ(p.groups.at(0).simple_counters, c.simple);
    }
    EXPECT_TRUE(parse_text("").ok && parse_text("").groups.empty());
}

// Record groups: header-only ones, several in a file, and headings that
// start over in each group. (Test cases summed over groups: CoverageFiles.)
TEST(CoverageParser, RecordGroupsStartTheirHeadingsOver) {
    auto p = parse_text("=== a\n>>> x\n=== b\n>>> y\n--- d\n### f\n1,1\n"
                        "=== a\n>>> z\n### g\n2,5\n");
    ASSERT_TRUE(p.ok);
    ASSERT_EQ(p.groups.size(), 3u);
    EXPECT_TRUE(p.groups[0].files.empty());
    EXPECT_TRUE(p.groups[0].simple_counters.empty());
    EXPECT_EQ(lines_of(p.groups[2], "/g"), (LineCounts{{2, 5}}));  // no directory heading in its own group
}

// Each malformed input stops the reading with its line number and a message.
TEST(CoverageParser, MalformedInputIsReportedWithItsLine) {
    const std::string head = "=== a\n>>> b\n";
    struct Case {
        std::string text;
        std::size_t line;
        std::string message;
    };
    std::vector<Case> cases = {
        {"junk\n", 1, "before the first \"=== \" test name line: \"junk\""},
        {"=== a\nfoo\n", 1, "not followed by a \">>> \" label line"},
        {"=== a\n", 1, "at the end of the input without its \">>> \" label line"},
        {"=== a\n=== b\n>>> c\n", 1, "not followed by a \">>> \" label line"},
        {head + std::string("1,2\0", 4) + "\n", 3, "\"1,2\\x00\""},
        {head + "--- d\n5,1\n", 4, "between a directory heading and its file heading"},
        {head + "--- d\n--- e\n", 4, "right after another one"},
        {head + ">>> c\n", 3, "label line without"},
        {head + "1,-5\n", 3, "negative count"},
        {head + "99999999999,1\n", 3, "line number out of the 32-bit range"},
        {head + "1,99999999999999999999\n", 3, "count out of the 64-bit range"},
        {head + "5,1\n3,1\n", 4, "simple-counter line out of order"},
        {head + "0,1\n", 3, "simple-counter line out of order"},
        {head + "1000000,1\n", 3, "simple-counter line out of order"},
        {head + "--- d\n### f\n1,5", 5, "the last line has no line feed"},
        {head + "--- d\n### f\n12=== b\n>>> c\n", 5, "cut short here"},
        {head + std::string(70000, 'x') + "\n", 3, "line longer than 65536 bytes"},
    };
    for (const char* line : {"12,x", "", " 1,2", "+1,2", "1, 2", "1,2 ", ",2", "---d"})
        cases.push_back({head + line + "\n", 3, "not a heading"});
    for (const auto& c : cases) {
        SCOPED_TRACE(quote_line(c.text));
        auto p = parse_text(c.text);
        EXPECT_FALSE(p.ok);
        ASSERT_EQ(p.diagnostics.size(), 1u);
        const Diagnostic& d = p.diagnostics[0];  // its name, line and kind: in the text it gives
        EXPECT_NE(d.message.find(c.message), std::string::npos) << d.message;
        EXPECT_EQ(to_string(d).rfind("cov.out:" + std::to_string(c.line) + ": error: ", 0), 0u) << to_string(d);
    }
    // The messages quote the line: control bytes escaped, 80 bytes at most.
    EXPECT_EQ(quote_line("a\tb\x01\xff"), "\"a\\x09b\\x01\\xFF\"");
    EXPECT_EQ(quote_line(std::string(100, 'y')), "\"" + std::string(80, 'y') + "\"...");
}

// Lenient reading skips each malformed line with a warning and keeps the rest.
TEST(CoverageParser, LenientReadingSkipsMalformedLines) {
    ParseOptions lenient;
    lenient.lenient = true;
    auto p = parse_text(
        "stray\n=== a\n>>> b\n--- d\n### f\n1,1\nbad line\n2,x\n3,3\n=== c\n=== e\n>>> l\n4,4\n5,5",
        lenient);
    EXPECT_TRUE(p.ok);
    ASSERT_EQ(p.diagnostics.size(), 5u);
    // A group cut short: what it holds so far stays, the next one is whole.
    auto cut = parse_text("=== a\n>>> b\n--- d\n### f\n1,1\n2=== c\n>>> l\n--- d\n### f\n4,4\n", lenient);
    ASSERT_EQ(cut.groups.size(), 2u);
    EXPECT_EQ(lines_of(cut.groups[0], "d/f"), (LineCounts{{1, 1}}));
    EXPECT_EQ(cut.groups[1].name, "c");
    EXPECT_EQ(lines_of(cut.groups[1], "d/f"), (LineCounts{{4, 4}}));
    std::vector<std::size_t> lines;
    for (const Diagnostic& d : p.diagnostics) {
        EXPECT_NE(to_string(d).find(": warning: "), std::string::npos);
        lines.push_back(d.line);
    }
    EXPECT_EQ(lines, (std::vector<std::size_t>{1, 7, 8, 10, 14}));
    ASSERT_EQ(p.groups.size(), 3u);
    EXPECT_EQ(lines_of(p.groups[0], "d/f"), (LineCounts{{1, 1}, {3, 3}}));
    EXPECT_EQ(p.groups[1].name, "c");
    EXPECT_EQ(p.groups[1].labels, std::vector<std::string>{""});
    EXPECT_EQ(p.groups[2].simple_counters, (LineCounts{{4, 4}}));  // "5,5" was cut short
}
