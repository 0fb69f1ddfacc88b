// lcov_export.cpp: LCOV tracefiles, one test name section per test case.
#include "tools/report/lcov_export.h"

#include <set>

namespace mirt_report {

namespace {

bool is_word_byte(unsigned char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

bool has_lcov_lines(const LineCounts& lines) { return !lines.empty() && lines.rbegin()->first >= 1; }

bool has_lcov_lines(const TestCase& t) {
    for (const auto& entry : t.files)
        if (has_lcov_lines(entry.second)) return true;
    return false;
}

// genhtml reads "TD:" text up to the end of its line: line breaks and other
// control bytes would end or garble it.
std::string one_line(const std::string& text) {
    std::string out = text;
    for (char& c : out)
        if (static_cast<unsigned char>(c) < 0x20) c = ' ';
    return out;
}

// A function's calls are the count of the line its entry probe counts.
void write_functions(std::ostream& out, const FileMap& mapped, const LineCounts& lines) {
    std::size_t hit = 0;
    std::set<std::string> named;
    for (const MappedFunction& f : mapped.functions)
        if (named.insert(f.name).second) out << "FN:" << f.first_line << ',' << f.name << '\n';
    named.clear();
    for (const MappedFunction& f : mapped.functions) {
        if (!named.insert(f.name).second) continue;
        auto found = lines.find(f.first_line);
        int64_t calls = found == lines.end() ? 0 : found->second;
        out << "FNDA:" << calls << ',' << f.name << '\n';
        if (calls > 0) ++hit;
    }
    out << "FNF:" << named.size() << '\n' << "FNH:" << hit << '\n';
}

// BRDA:line,block,branch,taken for every outcome; "-" for the outcomes of a
// line that never ran, as lcov writes them.
void write_branches(std::ostream& out, const std::string& file, const LineCounts& ids, const LineCounts& lines,
                    const LineMap* map) {
    std::size_t hit = 0;
    for (const auto& [id, count] : ids) {
        MappedBranch b = branch_of(map, file, id);
        auto line = lines.find(b.line);
        bool line_ran = count > 0 || (line != lines.end() && line->second > 0);
        out << "BRDA:" << b.line << ',' << b.decision << ',' << b.outcome << ',';
        if (line_ran) out << count;
        else out << '-';
        out << '\n';
        if (count > 0) ++hit;
    }
    out << "BRF:" << ids.size() << '\n' << "BRH:" << hit << '\n';
}

}  // namespace

std::vector<std::string> lcov_test_names(const CoverageSet& set) {
    std::vector<std::string> names;
    std::set<std::string> taken;
    for (const TestCase& t : set.tests()) {
        std::string base;
        for (char c : t.name) base += is_word_byte(static_cast<unsigned char>(c)) ? c : '_';
        if (base.empty()) base = "unnamed";
        std::string name = base;
        for (int n = 2; taken.count(name) != 0; ++n) name = base + "_" + std::to_string(n);
        taken.insert(name);
        names.push_back(name);
    }
    return names;
}

void write_lcov(std::ostream& out, const CoverageSet& set, const LineMap* map) {
    std::vector<std::string> names = lcov_test_names(set);
    for (std::size_t i = 0; i < set.tests().size(); ++i) {
        const TestCase& t = set.tests()[i];
        if (!has_lcov_lines(t)) continue;
        out << "TN:" << names[i] << '\n';
        for (const auto& [file, lines] : t.files) {
            if (!has_lcov_lines(lines)) continue;
            std::size_t found = 0, hit = 0;
            out << "SF:" << file << '\n';
            if (const FileMap* mapped = map ? map->find(file) : nullptr) write_functions(out, *mapped, lines);
            auto branches = t.branches.find(file);
            if (branches != t.branches.end()) write_branches(out, file, branches->second, lines, map);
            for (auto it = lines.lower_bound(1); it != lines.end(); ++it) {
                out << "DA:" << it->first << ',' << it->second << '\n';
                ++found;
                if (it->second > 0) ++hit;
            }
            out << "LF:" << found << '\n' << "LH:" << hit << '\n' << "end_of_record\n";
        }
    }
}

void write_lcov_descriptions(std::ostream& out, const CoverageSet& set) {
    std::vector<std::string> names = lcov_test_names(set);
    for (std::size_t i = 0; i < set.tests().size(); ++i) {
        const TestCase& t = set.tests()[i];
        std::string text = one_line(t.name);
        for (const std::string& label : t.labels) text += " [" + one_line(label) + "]";
        out << "TN: " << names[i] << '\n' << "TD: " << text << '\n';
    }
}

}  // namespace mirt_report
