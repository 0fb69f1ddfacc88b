// summary.h: per test case and per file totals, as text or JSON.
#ifndef MIRT_REPORT_SUMMARY_H
#define MIRT_REPORT_SUMMARY_H

#include <ostream>
#include <string>

#include <nlohmann/json.hpp>

#include "coverage_data.h"

namespace mirt_report {

// For each test case: its files, lines hit, total hits and simple counters,
// then each file's lines hit; last, the same over all test cases together.
void write_summary(std::ostream& out, const CoverageSet& set);

// The same figures as a JSON document.
nlohmann::json summary_json(const CoverageSet& set);

// JSON text of a document whose strings may hold bytes that are not UTF-8
// (file names from other systems): such bytes become U+FFFD.
std::string json_text(const nlohmann::json& document);

}  // namespace mirt_report

#endif
