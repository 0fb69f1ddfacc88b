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

// The output of the demo program in examples/: its named point at line 8
// (ten calls) and the pointer-keyed point at line 21 share the key text
// "examples/demo.cpp"; mirt_fn(1), (2) and (3) are simple counters.
inline const char* demo_output() {
    return "=== mirt_demo_data_4242_-1\n"
           ">>> unknown\n"
           "--- examples\n"
           "### demo.cpp\n"
           "8,10\n"
           "21,1\n"
           "1,10\n"
           "2,5\n"
           "3,5\n";
}

}  // namespace mirt_report_test

#endif
