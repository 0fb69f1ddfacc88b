// file_filters.h: which files the reports show, under which names, and the
// lines that the sources exclude from coverage.
#ifndef MIRT_REPORT_FILE_FILTERS_H
#define MIRT_REPORT_FILE_FILTERS_H

#include <string>
#include <vector>

#include "tools/report/coverage_data.h"
#include "tools/report/line_map.h"

namespace mirt_report {

struct FileFilters {
    std::string source_root;            // names under this folder become relative to it
    std::vector<std::string> include;   // shell globs ("*" also crosses "/"); none: every file
    std::vector<std::string> exclude;
};

// Where the source of a file named as the coverage data names it can be read:
// the name itself when absolute, else under the compile's folder, the source
// root or the current folder, the first that exists ("" when none does).
std::string find_source(const std::string& name, const LineMap& map, const std::string& source_root);

// The lines of text that LCOV_EXCL_LINE marks or that lie between
// LCOV_EXCL_START and LCOV_EXCL_STOP (both marker lines included).
std::vector<int32_t> excluded_lines(const std::string& text);

// Drops the excluded lines (and functions that start on them) of every file
// whose source can be read from the counts and the map.
void apply_exclusion_markers(CoverageSet& set, LineMap& map, const std::string& source_root);

// Renames files under the source root in the counts and the map (counts of
// names that become one are added up) and drops the files that the globs
// leave out. A glob matches the name as shown or as the data spells it.
void apply_file_filters(CoverageSet& set, LineMap& map, const FileFilters& filters);

// name relative to root when it lies under it; otherwise name.
std::string relative_to(const std::string& name, const std::string& root);

}  // namespace mirt_report

#endif
