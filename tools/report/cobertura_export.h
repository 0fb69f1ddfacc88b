// cobertura_export.h: Cobertura XML coverage reports.
#ifndef MIRT_REPORT_COBERTURA_EXPORT_H
#define MIRT_REPORT_COBERTURA_EXPORT_H

#include <cstdint>
#include <ostream>
#include <string>

#include "tools/report/coverage_data.h"
#include "tools/report/line_map.h"

namespace mirt_report {

struct CoberturaOptions {
    std::string source_root = ".";  // the <source> that file names are relative to
    int64_t timestamp = 0;          // seconds since 1970
    std::string version;            // the producing tool's version
};

// A Cobertura report of counts (all test cases summed: Cobertura has no
// notion of tests): one package per directory, one class per file, one
// <line> per line from 1 up. Simple counters belong to no file and are left out.
// Returns false when the document could not be written.
// With a line map, each class also lists its functions as methods.
bool write_cobertura(std::ostream& out, const TestCase& counts, const CoberturaOptions& options,
                     const LineMap* map = nullptr);

// Text that XML 1.0 accepts: bytes that are not valid UTF-8 are read as
// Latin-1 (as a Windows file name in a Western code page would be), and
// control characters that XML forbids become '?'.
std::string xml_text(const std::string& bytes);

}  // namespace mirt_report

#endif
