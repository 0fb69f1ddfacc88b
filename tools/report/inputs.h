// inputs.h: reading the coverage files named on the command line into one set.
#ifndef MIRT_REPORT_INPUTS_H
#define MIRT_REPORT_INPUTS_H

#include <string>
#include <vector>

#include "tools/report/coverage_data.h"
#include "tools/report/coverage_parser.h"

namespace mirt_report {

struct LoadOptions {
    ParseOptions parse;
    // Within one file, record groups of the same test case hold running
    // totals (written again and again without a clear): keep only the last of
    // them instead of summing them all.
    bool running_totals = false;
};

// Adds the record groups of every file ("-": standard input) to set. Returns
// false when a file could not be read or, unless lenient, was malformed;
// diagnostics holds every problem found, in order.
bool load_coverage(const std::vector<std::string>& paths, const LoadOptions& options, CoverageSet& set,
                   std::vector<Diagnostic>& diagnostics);

}  // namespace mirt_report

#endif
