// summary.cpp: per test case and per file totals, as text or JSON.
#include "summary.h"

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

nlohmann::json totals_json(const Totals& t) {
    return {{"lines", t.lines}, {"lines_hit", t.lines_hit}, {"hits", t.hits}};
}

nlohmann::json test_json(const TestCase& t) {
    nlohmann::json files = nlohmann::json::array();
    for (const auto& [file, lines] : t.files) {
        nlohmann::json f = totals_json(totals_of(lines));
        f["file"] = file;
        files.push_back(f);
    }
    Totals all = totals_of(t.files);
    Totals simple = simple_totals(t.simple_counters);
    nlohmann::json j = totals_json(all);
    j["name"] = t.name;
    j["labels"] = t.labels;
    j["record_groups"] = t.record_groups;
    j["file_count"] = all.files;
    j["files"] = files;
    j["simple_counters"] = {{"hit", simple.lines_hit}, {"hits", simple.hits}};
    return j;
}

void write_test(std::ostream& out, const TestCase& t, bool with_files) {
    Totals all = totals_of(t.files);
    out << plural(all.files, "file", "files") << ", " << all.lines_hit << " of " << plural(all.lines, "line", "lines")
        << " hit, " << plural(static_cast<std::size_t>(all.hits), "hit", "hits");
    if (!t.simple_counters.empty()) {
        Totals simple = simple_totals(t.simple_counters);
        out << "; " << plural(simple.lines_hit, "simple counter", "simple counters") << " hit, "
            << plural(static_cast<std::size_t>(simple.hits), "hit", "hits");
    }
    out << '\n';
    if (!with_files) return;
    for (const auto& [file, lines] : t.files) {
        Totals f = totals_of(lines);
        out << "    " << file << ": " << f.lines_hit << " of " << plural(f.lines, "line", "lines") << " hit, "
            << plural(static_cast<std::size_t>(f.hits), "hit", "hits") << '\n';
    }
}

}  // namespace

void write_summary(std::ostream& out, const CoverageSet& set) {
    for (const TestCase& t : set.tests()) {
        out << "test case " << t.name << " [" << labels_text(t) << "]";
        if (t.record_groups > 1) out << " (" << t.record_groups << " record groups)";
        out << "\n  ";
        write_test(out, t, true);
    }
    out << "all " << plural(set.tests().size(), "test case", "test cases") << ": ";
    write_test(out, set.combined("all"), false);
}

nlohmann::json summary_json(const CoverageSet& set) {
    nlohmann::json tests = nlohmann::json::array();
    for (const TestCase& t : set.tests()) tests.push_back(test_json(t));
    nlohmann::json all = test_json(set.combined("all"));
    all.erase("name");
    all.erase("labels");
    all["test_cases"] = set.tests().size();
    return {{"tests", tests}, {"all", all}};
}

std::string json_text(const nlohmann::json& document) {
    return document.dump(2, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace mirt_report
