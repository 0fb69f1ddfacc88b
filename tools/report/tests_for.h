// tests_for.h: which test cases hit a given source line.
#ifndef MIRT_REPORT_TESTS_FOR_H
#define MIRT_REPORT_TESTS_FOR_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tools/report/coverage_data.h"

namespace mirt_report {

struct LineQuery {
    std::string file;
    int32_t line = 0;
};

// Reads "FILE:LINE", split at the last colon so that names such as
// "C:\src\a.cpp:12" keep theirs. Returns an empty string, or what is wrong.
std::string parse_line_query(const std::string& text, LineQuery& query);

// The answer for one file that the query named.
struct FileAnswer {
    std::string file;  // the name as the coverage data spells it
    bool listed = false;  // some test case lists the line, hit or not
    std::vector<std::pair<std::string, int64_t>> hits;  // test case and count, in the set's order
};
using QueryAnswer = std::vector<FileAnswer>;

// The query's file name matches a file of the data that has exactly that
// name; if none has, every file whose name ends in it after a folder
// separator ("demo.cpp" matches "examples/demo.cpp" and "C:\x\demo.cpp").
// No match gives an empty answer.
QueryAnswer tests_for(const CoverageSet& set, const LineQuery& query);

}  // namespace mirt_report

#endif
