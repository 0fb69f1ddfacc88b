// inputs.cpp: reading the coverage files named on the command line into one set.
#include "tools/report/inputs.h"

#include <sys/stat.h>

#include <fstream>
#include <iostream>

namespace mirt_report {

namespace {

bool load_one(std::istream& in, const std::string& name, const LoadOptions& options, CoverageSet& set,
              std::vector<Diagnostic>& diagnostics) {
    // Groups are kept back until the whole file has been read, so that a
    // malformed file adds nothing, and so that running totals can keep the last.
    std::vector<TestCase> groups;
    bool ok = parse_coverage(in, name, options.parse,
                             [&](TestCase&& group) { groups.push_back(std::move(group)); }, diagnostics);
    if (!ok) return false;
    if (options.running_totals) {
        std::vector<TestCase> last;
        std::map<std::string, std::size_t> position;
        for (TestCase& g : groups) {
            auto found = position.find(g.name);
            if (found == position.end()) {
                position.emplace(g.name, last.size());
                last.push_back(std::move(g));
            } else {
                std::size_t earlier = last[found->second].record_groups;
                last[found->second] = std::move(g);
                last[found->second].record_groups += earlier;
            }
        }
        groups = std::move(last);
    }
    for (const TestCase& g : groups) set.add(g);
    return true;
}

}  // namespace

bool load_coverage(const std::vector<std::string>& paths, const LoadOptions& options, CoverageSet& set,
                   std::vector<Diagnostic>& diagnostics) {
    auto groups_in = [&set]() {
        std::size_t n = 0;
        for (const TestCase& t : set.tests()) n += t.record_groups;
        return n;
    };
    bool ok = true;
    for (const std::string& path : paths) {
        std::size_t before = groups_in();
        std::string name = path == "-" ? "<standard input>" : path;
        if (path == "-") {
            if (!load_one(std::cin, name, options, set, diagnostics)) {
                ok = false;
                continue;
            }
        } else {
            struct stat st;
            if (stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) {
                diagnostics.push_back(Diagnostic{path, 0, "is a folder, not a coverage file"});
                ok = false;
                continue;
            }
            std::ifstream in(path, std::ios::binary);
            if (!in) {
                diagnostics.push_back(Diagnostic{path, 0, "can't open the file"});
                ok = false;
                continue;
            }
            if (!load_one(in, path, options, set, diagnostics)) {
                ok = false;
                continue;
            }
        }
        // Nothing to report on: better said here than by genhtml about an empty LCOV file.
        if (groups_in() == before) {
            diagnostics.push_back(Diagnostic{name, 0, "holds no record group (is it empty?)"});
            ok = false;
        }
    }
    return ok;
}

}  // namespace mirt_report
