// summary.cpp: per test case and per file totals, as text or JSON.
#include "tools/report/summary.h"

namespace mirt_report {

namespace {

std::string plural(std::size_t n, const char* one, const char* many) {
    return std::to_string(n) + " " + (n == 1 ? one : many);
}

std::string labels_text(const TestCase& t) {
    std::string text;
    for (const std::string& label : t.labels) text += (text.empty() ? "" : ", ") + label;
    return text;
}

Totals simple_totals(const LineCounts& counters) {
    Totals t = totals_of(counters);
    t.files = 0;
    return t;
}

// ", 3 of 4 branch outcomes taken (75.0%)", when there are any.
void write_branches(std::ostream& out, const Totals& b) {
    if (b.lines > 0)
        out << ", " << b.lines_hit << " of " << plural(b.lines, "branch outcome", "branch outcomes") << " taken ("
            << percent_text(b.lines_hit, b.lines) << ")";
}

// The outcomes never taken: "12 if false, 14 switch case 3".
std::string never_taken(const std::string& file, const LineCounts& ids, const LineMap* map) {
    std::string text;
    for (const auto& [id, count] : ids) {
        if (count > 0) continue;
        MappedBranch b = branch_of(map, file, id);
        text += (text.empty() ? "" : ", ") + std::to_string(b.line) + " " + b.text;
    }
    return text;
}

const LineCounts& branches_of(const TestCase& t, const std::string& file) {
    static const LineCounts none;
    auto found = t.branches.find(file);
    return found == t.branches.end() ? none : found->second;
}

nlohmann::json totals_json(const Totals& t) {
    return {{"lines", t.lines}, {"lines_hit", t.lines_hit}, {"hits", t.hits}};
}

// Functions of a file that the map knows, and how many of them were called.
struct FunctionTally {
    std::size_t all = 0, called = 0;
};

FunctionTally functions_of(const std::string& file, const LineCounts& lines, const LineMap* map) {
    FunctionTally tally;
    const FileMap* mapped = map ? map->find(file) : nullptr;
    if (!mapped) return tally;
    for (const MappedFunction& f : mapped->functions) {
        ++tally.all;
        auto found = lines.find(f.first_line);
        if (found != lines.end() && found->second > 0) ++tally.called;
    }
    return tally;
}

FunctionTally functions_of(const FileCounts& files, const LineMap* map) {
    FunctionTally tally;
    for (const auto& [file, lines] : files) {
        FunctionTally f = functions_of(file, lines, map);
        tally.all += f.all;
        tally.called += f.called;
    }
    return tally;
}

nlohmann::json ranges_json(const LineCounts& lines) {
    nlohmann::json ranges = nlohmann::json::array();
    int32_t first = 0, last = 0;
    bool open = false;
    for (const auto& [line, count] : lines) {
        if (line < 1) continue;
        if (count == 0) {
            if (!open) first = line;
            last = line;
            open = true;
        } else if (open) {
            ranges.push_back({first, last});
            open = false;
        }
    }
    if (open) ranges.push_back({first, last});
    return ranges;
}

void add_map_json(nlohmann::json& j, const Totals& t, const FunctionTally& f) {
    j["percent"] = t.lines == 0 ? 100.0 : 100.0 * static_cast<double>(t.lines_hit) / static_cast<double>(t.lines);
    j["functions"] = f.all;
    j["functions_called"] = f.called;
}

nlohmann::json test_json(const TestCase& t, const LineMap* map) {
    nlohmann::json files = nlohmann::json::array();
    for (const auto& [file, lines] : t.files) {
        Totals totals = totals_of(lines);
        nlohmann::json f = totals_json(totals);
        f["file"] = file;
        if (map) {
            add_map_json(f, totals, functions_of(file, lines, map));
            f["never_run"] = ranges_json(lines);
        }
        const LineCounts& ids = branches_of(t, file);
        if (!ids.empty()) {
            Totals b = totals_of(ids);
            f["branches"] = b.lines;
            f["branches_taken"] = b.lines_hit;
            nlohmann::json untaken = nlohmann::json::array();
            for (const auto& [id, count] : ids)
                if (count == 0) {
                    MappedBranch mb = branch_of(map, file, id);
                    untaken.push_back({{"line", mb.line}, {"outcome", mb.text}});
                }
            f["never_taken"] = untaken;
        }
        files.push_back(f);
    }
    Totals all = totals_of(t.files);
    Totals simple = simple_totals(t.simple_counters);
    nlohmann::json j = totals_json(all);
    if (map) add_map_json(j, all, functions_of(t.files, map));
    if (!t.branches.empty()) {
        Totals b = totals_of(t.branches);
        j["branches"] = b.lines;
        j["branches_taken"] = b.lines_hit;
    }
    j["name"] = t.name;
    j["labels"] = t.labels;
    j["record_groups"] = t.record_groups;
    j["file_count"] = all.files;
    j["files"] = files;
    j["simple_counters"] = {{"hit", simple.lines_hit}, {"hits", simple.hits}};
    return j;
}

// ", 71.4%" after "lines hit" and ", 2 of 3 functions called" after the hits, with a map.
void write_lines_hit(std::ostream& out, const Totals& t, const LineMap* map) {
    out << t.lines_hit << " of " << plural(t.lines, "line", "lines") << " hit";
    if (map) out << " (" << percent_text(t.lines_hit, t.lines) << ")";
    out << ", " << plural(static_cast<std::size_t>(t.hits), "hit", "hits");
}

void write_functions(std::ostream& out, const FunctionTally& f) {
    if (f.all > 0) out << ", " << f.called << " of " << plural(f.all, "function", "functions") << " called";
}

void write_test(std::ostream& out, const TestCase& t, bool with_files, const LineMap* map) {
    Totals all = totals_of(t.files);
    out << plural(all.files, "file", "files") << ", ";
    write_lines_hit(out, all, map);
    if (map) write_functions(out, functions_of(t.files, map));
    write_branches(out, totals_of(t.branches));
    if (!t.simple_counters.empty()) {
        Totals simple = simple_totals(t.simple_counters);
        out << "; " << plural(simple.lines_hit, "simple counter", "simple counters") << " hit, "
            << plural(static_cast<std::size_t>(simple.hits), "hit", "hits");
    }
    out << '\n';
    if (!with_files) return;
    for (const auto& [file, lines] : t.files) {
        out << "    " << file << ": ";
        write_lines_hit(out, totals_of(lines), map);
        if (map) write_functions(out, functions_of(file, lines, map));
        const LineCounts& ids = branches_of(t, file);
        write_branches(out, totals_of(ids));
        if (map) {
            std::string never = never_run_ranges(lines);
            if (!never.empty()) out << "; never run: " << never;
        }
        std::string untaken = never_taken(file, ids, map);
        if (!untaken.empty()) out << "; never taken: " << untaken;
        out << '\n';
    }
}

std::vector<std::pair<std::string, std::string>> unprobed_files(const LineMap* map) {
    std::vector<std::pair<std::string, std::string>> files;
    if (map)
        for (const auto& [name, file] : map->files())
            if (!file.unprobed.empty()) files.push_back({name, file.unprobed});
    return files;
}

}  // namespace

std::string percent_text(std::size_t hit, std::size_t all) {
    if (all == 0) return "-";
    // Whole tenths of a percent, rounded down.
    unsigned long long tenths = static_cast<unsigned long long>(hit) * 1000ull / all;
    return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + "%";
}

std::string never_run_ranges(const LineCounts& lines) {
    std::string text;
    for (const auto& range : ranges_json(lines)) {
        int32_t first = range[0], last = range[1];
        text += (text.empty() ? "" : ", ") + std::to_string(first);
        if (last != first) text += "-" + std::to_string(last);
    }
    return text;
}

void write_summary(std::ostream& out, const CoverageSet& set, const LineMap* map) {
    for (const TestCase& t : set.tests()) {
        out << "test case " << t.name << " [" << labels_text(t) << "]";
        if (t.record_groups > 1) out << " (" << t.record_groups << " record groups)";
        out << "\n  ";
        write_test(out, t, true, map);
    }
    out << "all " << plural(set.tests().size(), "test case", "test cases") << ": ";
    write_test(out, set.combined("all"), map != nullptr, map);
    for (const auto& [file, reason] : unprobed_files(map))
        out << "built without probes: " << file << " (" << reason << ")\n";
}

nlohmann::json summary_json(const CoverageSet& set, const LineMap* map) {
    nlohmann::json tests = nlohmann::json::array();
    for (const TestCase& t : set.tests()) tests.push_back(test_json(t, map));
    nlohmann::json all = test_json(set.combined("all"), map);
    all.erase("name");
    all.erase("labels");
    all["test_cases"] = set.tests().size();
    nlohmann::json j = {{"tests", tests}, {"all", all}};
    if (map) {
        nlohmann::json unprobed = nlohmann::json::array();
        for (const auto& [file, reason] : unprobed_files(map)) unprobed.push_back({{"file", file}, {"reason", reason}});
        j["unprobed"] = unprobed;
    }
    return j;
}

std::string json_text(const nlohmann::json& document) {
    return document.dump(2, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace mirt_report
