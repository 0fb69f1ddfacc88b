// coverage_parser.h: reads coverage output files, record group by record group.
#ifndef MIRT_REPORT_COVERAGE_PARSER_H
#define MIRT_REPORT_COVERAGE_PARSER_H

#include <cstddef>
#include <functional>
#include <istream>
#include <string>
#include <vector>

#include "tools/report/coverage_data.h"

namespace mirt_report {

// A problem found in an input file, with where it is.
struct Diagnostic {
    std::string source;    // the input's name as the user gave it
    std::size_t line = 0;  // 1-based line number (0: the input as a whole)
    std::string message;
    bool error = true;     // false: a warning, the reading went on
};
// "source:line: error: message" ("source: error: message" for line 0; "warning" for warnings).
std::string to_string(const Diagnostic& d);

struct ParseOptions {
    // Skip malformed lines (each reported as a diagnostic) instead of
    // stopping at the first one.
    bool lenient = false;
    // Look for simple counters among the count lines under a file heading
    // (see coverage_parser.cpp). Off: such lines always belong to the file,
    // for programs whose registered line tables are not in ascending order.
    bool find_simple_counters_after_files = true;
};

// Receives each record group as soon as it is complete: a TestCase with one
// label and record_groups 1.
using GroupHandler = std::function<void(TestCase&&)>;

// Reads every record group from in. Returns false when a malformed line
// stopped the reading (strict mode); diagnostics then ends with that error.
// In lenient mode it reads to the end and returns true, with one diagnostic
// per skipped line. It never throws on any content.
bool parse_coverage(std::istream& in, const std::string& source, const ParseOptions& options,
                    const GroupHandler& on_group, std::vector<Diagnostic>& diagnostics);

// Makes a line of input printable in a message: control and non-ASCII bytes
// as \xNN, cut to a readable length.
std::string quote_line(const std::string& text);

}  // namespace mirt_report

#endif
