// summary.h: per test case and per file totals, as text or JSON.
#ifndef MIRT_REPORT_SUMMARY_H
#define MIRT_REPORT_SUMMARY_H

#include <ostream>
#include <string>

#include <nlohmann/json.hpp>

#include "tools/report/coverage_data.h"
#include "tools/report/line_map.h"

namespace mirt_report {

// For each test case: its files, lines hit, total hits and simple counters,
// then each file's lines hit; last, the same over all test cases together.
// With a line map (whose never-run lines the set already holds), each file
// also gets its percentage, its never-run lines as ranges and its functions
// called, the total over all test cases lists every file, and files built
// without probes are named at the end.
void write_summary(std::ostream& out, const CoverageSet& set, const LineMap* map = nullptr);

// The same figures as a JSON document.
nlohmann::json summary_json(const CoverageSet& set, const LineMap* map = nullptr);

// Never-run lines as ranges, "12-14, 20": lines that did not run with no
// line between them that did (lines that cannot run do not split a range).
std::string never_run_ranges(const LineCounts& lines);

// "71.4%": hit of all, to one decimal, rounded down so that 99.96% never
// reads 100.0%; "-" when there is nothing to count.
std::string percent_text(std::size_t hit, std::size_t all);

// JSON text of a document whose strings may hold bytes that are not UTF-8
// (file names from other systems): such bytes become U+FFFD.
std::string json_text(const nlohmann::json& document);

}  // namespace mirt_report

#endif
