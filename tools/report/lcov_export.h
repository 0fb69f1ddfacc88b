// lcov_export.h: LCOV tracefiles, one test name section per test case.
#ifndef MIRT_REPORT_LCOV_EXPORT_H
#define MIRT_REPORT_LCOV_EXPORT_H

#include <ostream>
#include <string>
#include <vector>

#include "tools/report/coverage_data.h"
#include "tools/report/line_map.h"

namespace mirt_report {

// The names that the tracefile gives the set's test cases, in order. LCOV
// tools take only letters, digits and underscores in a test name: every
// other byte becomes an underscore, an empty name becomes "unnamed", and a
// name that another test case already took gets "_2", "_3" ... appended.
std::vector<std::string> lcov_test_names(const CoverageSet& set);

// A "TN:" line per test case that has file coverage, followed by one record
// (SF, DA lines, LF, LH, end_of_record) per file. Lines below 1 have no
// place in LCOV and are left out; so are the simple counters, which belong
// to no file.
// With a line map, each file also gets its functions (FN, FNDA, FNF, FNH).
void write_lcov(std::ostream& out, const CoverageSet& set, const LineMap* map = nullptr);

// A test description file for genhtml --description-file: each test case's
// LCOV name with its name and labels as the runtime wrote them.
void write_lcov_descriptions(std::ostream& out, const CoverageSet& set);

}  // namespace mirt_report

#endif
