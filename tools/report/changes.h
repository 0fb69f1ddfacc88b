// changes.h: coverage of the lines that a change added or altered, read
// from a unified diff (git diff, diff -u), and the test cases that ran them.
#ifndef MIRT_REPORT_CHANGES_H
#define MIRT_REPORT_CHANGES_H

#include <istream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tools/report/coverage_data.h"
#include "tools/report/coverage_parser.h"

namespace mirt_report {

// File (as the diff names it after "+++ ", "b/" taken off) to the numbers of
// its added and changed lines in the new version. Deleted files are left out.
using ChangedLines = std::map<std::string, std::set<int32_t>>;

// Reads a unified diff. A hunk whose lines do not match its header's counts
// is reported as an error (with the diff's name and line); text outside
// hunks (commit messages, "diff --git" headers) is skipped.
bool read_unified_diff(std::istream& in, const std::string& name, ChangedLines& changed,
                       std::vector<Diagnostic>& diagnostics);

// The coverage files that a diff's name stands for: the one of exactly that
// name or, failing that, those whose name ends in it after a folder separator.
std::vector<std::string> files_named(const FileCounts& files, const std::string& diff_name);

// One file's changed lines that could run: those the coverage data lists.
struct ChangedFile {
    std::string file;           // as the coverage data names it
    LineCounts lines;           // changed lines that could run, with their counts
    LineCounts branches;        // the branch outcomes on those lines (by id), with their counts
};

struct ChangeCoverage {
    std::vector<ChangedFile> files;
    std::size_t lines = 0, ran = 0;
    std::size_t branches = 0, taken = 0;
};

ChangeCoverage change_coverage(const TestCase& counts, const ChangedLines& changed);

// Test cases that ran at least one changed line, with how many they ran, in
// the set's order.
std::vector<std::pair<std::string, std::size_t>> tests_for_change(const CoverageSet& set,
                                                                   const ChangedLines& changed);

}  // namespace mirt_report

#endif
