// coverage_data.cpp: summing counts by test case, file and line.
#include "tools/report/coverage_data.h"

#include <algorithm>
#include <limits>

namespace mirt_report {

void add_count(int64_t& total, int64_t count) {
    if (__builtin_add_overflow(total, count, &total)) total = std::numeric_limits<int64_t>::max();
}

void add_lines(LineCounts& into, const LineCounts& from) {
    for (const auto& [line, count] : from) add_count(into[line], count);
}

Totals totals_of(const LineCounts& lines) {
    Totals t;
    t.files = 1;
    for (const auto& entry : lines) {
        ++t.lines;
        if (entry.second > 0) ++t.lines_hit;
        add_count(t.hits, entry.second);
    }
    return t;
}

Totals totals_of(const FileCounts& files) {
    Totals t;
    for (const auto& entry : files) {
        Totals f = totals_of(entry.second);
        t.files += 1;
        t.lines += f.lines;
        t.lines_hit += f.lines_hit;
        add_count(t.hits, f.hits);
    }
    return t;
}

void CoverageSet::add(const TestCase& counts) {
    auto found = by_name_.find(counts.name);
    if (found == by_name_.end()) {
        by_name_.emplace(counts.name, tests_.size());
        tests_.push_back(counts);
        return;
    }
    TestCase& into = tests_[found->second];
    for (const std::string& label : counts.labels)
        if (std::find(into.labels.begin(), into.labels.end(), label) == into.labels.end())
            into.labels.push_back(label);
    for (const auto& [file, lines] : counts.files) add_lines(into.files[file], lines);
    for (const auto& [file, ids] : counts.branches) add_lines(into.branches[file], ids);
    add_lines(into.simple_counters, counts.simple_counters);
    into.record_groups += counts.record_groups;
}

const TestCase* CoverageSet::find(const std::string& name) const {
    auto found = by_name_.find(name);
    return found == by_name_.end() ? nullptr : &tests_[found->second];
}

CoverageSet CoverageSet::only(const std::vector<std::string>& names) const {
    CoverageSet kept;
    for (const TestCase& t : tests_)
        if (std::find(names.begin(), names.end(), t.name) != names.end()) kept.add(t);
    return kept;
}

TestCase CoverageSet::combined(const std::string& name) const {
    TestCase all;
    all.name = name;
    for (const TestCase& t : tests_) {
        for (const auto& [file, lines] : t.files) add_lines(all.files[file], lines);
        for (const auto& [file, ids] : t.branches) add_lines(all.branches[file], ids);
        add_lines(all.simple_counters, t.simple_counters);
        all.record_groups += t.record_groups;
    }
    return all;
}

void separate_branch_tables(TestCase& t) {
    const std::string suffix = branch_table_suffix;
    for (auto it = t.files.begin(); it != t.files.end();) {
        const std::string& name = it->first;
        if (name.size() > suffix.size() && name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0) {
            add_lines(t.branches[name.substr(0, name.size() - suffix.size())], it->second);
            it = t.files.erase(it);
        } else {
            ++it;
        }
    }
}

std::pair<std::string, std::string> split_key(const std::string& key) {
    std::size_t slash = key.rfind('/');
    if (slash == std::string::npos) return {key, key};
    return {key.substr(0, slash), key.substr(slash + 1)};
}

}  // namespace mirt_report
