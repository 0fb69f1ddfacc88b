// coverage_writer.cpp: writes a set of test cases back in the runtime's own output format.
#include "tools/report/coverage_writer.h"

namespace mirt_report {

void write_coverage(std::ostream& out, const CoverageSet& set) {
    for (const TestCase& t : set.tests()) {
        out << "=== " << t.name << '\n' << ">>> " << (t.labels.empty() ? std::string("unknown") : t.labels[0]) << '\n';
        for (const auto& [n, count] : t.simple_counters) out << n << ',' << count << '\n';
        std::string remembered;  // the directory heading last written, as the runtime's writers keep it
        for (const auto& [key, lines] : t.files) {
            auto [directory, file] = split_key(key);
            if (directory != remembered) {
                out << "--- " << directory << '\n';
                remembered = directory;
            }
            out << "### " << file << '\n';
            for (const auto& [line, count] : lines) out << line << ',' << count << '\n';
        }
    }
}

}  // namespace mirt_report
