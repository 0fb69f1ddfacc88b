// report_fixture.h: helpers shared by the report tool's tests.
#ifndef MIRT_REPORT_FIXTURE_H
#define MIRT_REPORT_FIXTURE_H

#include <sstream>
#include <string>
#include <vector>

#include "coverage_data.h"
#include "coverage_parser.h"

namespace mirt_report_test {

struct Parsed {
    bool ok = false;
    std::vector<mirt_report::TestCase> groups;
    std::vector<mirt_report::Diagnostic> diagnostics;
};

// Parses text as the coverage file "cov.out".
inline Parsed parse_text(const std::string& text, bool lenient = false) {
    Parsed p;
    std::istringstream in(text);
    mirt_report::ParseOptions options;
    options.lenient = lenient;
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
