// report_fixture.h: helpers shared by the report tool's tests.
#ifndef MIRT_REPORT_FIXTURE_H
#define MIRT_REPORT_FIXTURE_H

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "tools/report/coverage_data.h"
#include "tools/report/coverage_parser.h"
#include "tests/support/test_support.h"

namespace mirt_report_test {

struct Parsed {
    bool ok = false;
    std::vector<mirt_report::TestCase> groups;
    std::vector<mirt_report::Diagnostic> diagnostics;
};

// Parses text as the coverage file "cov.out".
inline Parsed parse_text(const std::string& text, mirt_report::ParseOptions options = {}) {
    Parsed p;
    std::istringstream in(text);
    p.ok = mirt_report::parse_coverage(
        in, "cov.out", options, [&](mirt_report::TestCase&& g) { p.groups.push_back(std::move(g)); }, p.diagnostics);
    return p;
}

// Every record group of text, summed by test case.
inline mirt_report::CoverageSet set_of(const std::string& text) {
    mirt_report::CoverageSet set;
    for (const auto& g : parse_text(text).groups) set.add(g);
    return set;
}

// The warning of a report made without any line map.
inline const char* no_map_warning() {
    return "mirt-report: warning: no line map found (give the build folder with --map); "
           "percentages count recorded lines only\n";
}

// mirt-report run in folder at a fixed report time. Unless told to keep it,
// the output leaves out the warning that no line map was found.
inline mirt_test::RunResult run_report(const std::vector<std::string>& args, const std::string& folder,
                                       bool keep_map_warning = false) {
    mirt_test::RunResult r = mirt_test::run_program(
        MIRT_REPORT_PROGRAM, args, {{"SOURCE_DATE_EPOCH", std::string("1700000000")}, {"MIRT_MAP_DIR", std::nullopt}},
        folder);
    std::size_t at = r.output.find(no_map_warning());
    if (!keep_map_warning && at != std::string::npos) r.output.erase(at, std::string(no_map_warning()).size());
    return r;
}

// A private folder where files are written and mirt-report runs.
class ReportFolder : public ::testing::Test {
protected:
    void SetUp() override { folder = mirt_test::make_temp_folder("report"); }
    void TearDown() override { mirt_test::remove_tree(folder); }
    std::string file(const std::string& name, const std::string& content) const {  // gives its path
        mirt_test::write_file(mirt_test::join(folder, name), content);
        return mirt_test::join(folder, name);
    }
    std::string read(const std::string& name) const { return mirt_test::read_file(mirt_test::join(folder, name)); }
    mirt_test::RunResult report(const std::vector<std::string>& args) const { return run_report(args, folder); }
    std::string folder;
};

// What the demo program in examples/ writes with a fresh index file: two
// test cases. In the first, the named point at line 29, the simple counters
// 1 to 3, the static registration of helpers.cpp and the module section of
// demo.cpp; in the second, the keyed point at line 76 and two source lines.
inline const char* demo_output() {
    return "=== demo.vowels\n>>> example\n"
           "--- examples\n### demo.cpp\n29,44\n"
           "1,44\n2,12\n3,2\n"
           "--- examples/text\n### helpers.cpp\n50,2\n52,42\n"
           "--- examples\n### demo.cpp\n31,12\n33,21\n35,3\n37,8\n"
           "=== demo.words\n>>> example\n"
           "--- examples\n### demo.cpp\n76,1\n"
           "--- examples\n### demo.cpp\n72,45\n74,9\n";
}

}  // namespace mirt_report_test

#endif
