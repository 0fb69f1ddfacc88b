// changes.cpp: unified diffs and the coverage of what they change.
#include "tools/report/changes.h"

#include <charconv>

namespace mirt_report {

namespace {

// "12" or "12,3" from a hunk header; count 1 when it has no comma.
bool read_range(const std::string& text, int32_t& start, int32_t& count) {
    std::size_t comma = text.find(',');
    const char* end = text.data() + text.size();
    const char* start_end = comma == std::string::npos ? end : text.data() + comma;
    auto r = std::from_chars(text.data(), start_end, start);
    if (r.ec != std::errc() || r.ptr != start_end || start < 0) return false;
    count = 1;
    if (comma == std::string::npos) return true;
    r = std::from_chars(text.data() + comma + 1, end, count);
    return r.ec == std::errc() && r.ptr == end && count >= 0;
}

// The name after "+++ ": git's C-style quotes undone, a tab-separated time
// stamp and the "b/" of git's prefixes taken off; "" for /dev/null.
std::string new_file_name(std::string text) {
    if (!text.empty() && text[0] == '"') {
        std::string name;
        for (std::size_t i = 1; i < text.size() && text[i] != '"'; ++i) {
            if (text[i] != '\\' || i + 1 >= text.size()) {
                name += text[i];
                continue;
            }
            char c = text[++i];
            auto octal = [&](std::size_t at) { return at < text.size() && text[at] >= '0' && text[at] <= '7'; };
            if (octal(i) && octal(i + 1) && octal(i + 2)) {
                unsigned value = (unsigned(text[i] - '0') << 6) | (unsigned(text[i + 1] - '0') << 3) |
                                 unsigned(text[i + 2] - '0');
                name += static_cast<char>(value & 0xFF);
                i += 2;
            } else {
                name += c == 'n' ? '\n' : c == 't' ? '\t' : c;
            }
        }
        text = name;
    } else {
        std::size_t tab = text.find('\t');
        if (tab != std::string::npos) text.erase(tab);
    }
    if (text == "/dev/null") return "";
    if (text.compare(0, 2, "b/") == 0) text.erase(0, 2);
    return text;
}

}  // namespace

bool read_unified_diff(std::istream& in, const std::string& name, ChangedLines& changed,
                       std::vector<Diagnostic>& diagnostics) {
    std::string line, file;
    std::size_t number = 0;
    int32_t old_left = 0, new_left = 0, new_line = 0;
    while (std::getline(in, line)) {
        ++number;
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (old_left > 0 || new_left > 0) {
            char kind = line.empty() ? ' ' : line[0];  // some tools drop the space of an empty context line
            if (kind == '\\') continue;                // "\ No newline at end of file"
            if (kind == '+' && new_left > 0) {
                if (!file.empty()) changed[file].insert(new_line);
                ++new_line;
                --new_left;
            } else if (kind == '-' && old_left > 0) {
                --old_left;
            } else if (kind == ' ' && old_left > 0 && new_left > 0) {
                ++new_line;
                --old_left;
                --new_left;
            } else {
                diagnostics.push_back({name, number, "the hunk has fewer lines than its header says", true});
                return false;
            }
            continue;
        }
        if (line.compare(0, 4, "+++ ") == 0) {
            file = new_file_name(line.substr(4));
        } else if (line.compare(0, 3, "@@ ") == 0) {
            std::size_t minus = line.find(" -"), plus = line.find(" +"), end = line.find(" @@", 3);
            int32_t old_start = 0;
            if (minus == std::string::npos || plus == std::string::npos || end == std::string::npos || plus > end ||
                !read_range(line.substr(minus + 2, plus - minus - 2), old_start, old_left) ||
                !read_range(line.substr(plus + 2, end - plus - 2), new_line, new_left)) {
                diagnostics.push_back({name, number, "bad hunk header \"" + quote_line(line) + "\"", true});
                return false;
            }
        }
    }
    if (old_left > 0 || new_left > 0) {
        diagnostics.push_back({name, number, "the diff ends inside a hunk", true});
        return false;
    }
    return true;
}

std::vector<std::string> files_named(const FileCounts& files, const std::string& diff_name) {
    if (files.count(diff_name)) return {diff_name};
    std::vector<std::string> names;
    for (const auto& entry : files) {
        const std::string& n = entry.first;
        if (n.size() <= diff_name.size()) continue;
        std::size_t start = n.size() - diff_name.size();
        if ((n[start - 1] == '/' || n[start - 1] == '\\') && n.compare(start, std::string::npos, diff_name) == 0)
            names.push_back(n);
    }
    return names;
}

ChangeCoverage change_coverage(const TestCase& counts, const ChangedLines& changed) {
    ChangeCoverage result;
    for (const auto& [diff_name, lines] : changed) {
        for (const std::string& file : files_named(counts.files, diff_name)) {
            const LineCounts& all = counts.files.at(file);
            ChangedFile f{file, {}, {}};
            for (int32_t line : lines) {
                auto found = all.find(line);
                if (found == all.end()) continue;
                f.lines.insert(*found);
                ++result.lines;
                if (found->second > 0) ++result.ran;
            }
            auto branches = counts.branches.find(file);
            if (branches != counts.branches.end())
                for (const auto& [id, count] : branches->second) {
                    if (!lines.count(id / 100)) continue;
                    f.branches.emplace(id, count);
                    ++result.branches;
                    if (count > 0) ++result.taken;
                }
            if (!f.lines.empty()) result.files.push_back(std::move(f));
        }
    }
    return result;
}

std::vector<std::pair<std::string, std::size_t>> tests_for_change(const CoverageSet& set,
                                                                   const ChangedLines& changed) {
    std::vector<std::pair<std::string, std::size_t>> tests;
    for (const TestCase& t : set.tests()) {
        ChangeCoverage c = change_coverage(t, changed);
        if (c.ran > 0) tests.push_back({t.name, c.ran});
    }
    return tests;
}

}  // namespace mirt_report
