// coverage_writer.h: writes a set of test cases back in the runtime's own output format.
#ifndef MIRT_REPORT_COVERAGE_WRITER_H
#define MIRT_REPORT_COVERAGE_WRITER_H

#include <ostream>

#include "tools/report/coverage_data.h"

namespace mirt_report {

// One record group per test case, in the set's order: the test name, its
// first label ("unknown" when it has none), the simple counters, then every
// file in key order with all its lines, zero counts included. The simple
// counters come first, as in a group without point-hit or source-line
// sections, so that no reader can take them for lines of the last file.
void write_coverage(std::ostream& out, const CoverageSet& set);

}  // namespace mirt_report

#endif
