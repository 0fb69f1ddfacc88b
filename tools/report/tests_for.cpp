// tests_for.cpp: which test cases hit a given source line.
#include "tools/report/tests_for.h"

#include <charconv>
#include <set>

namespace mirt_report {

std::string parse_line_query(const std::string& text, LineQuery& query) {
    std::size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0) return "expected FILE:LINE, got \"" + text + "\"";
    const char* begin = text.data() + colon + 1;
    const char* end = text.data() + text.size();
    auto result = std::from_chars(begin, end, query.line);
    if (result.ec != std::errc() || result.ptr != end || begin == end)
        return "the line in \"" + text + "\" is not a 32-bit number";
    query.file = text.substr(0, colon);
    return "";
}

QueryAnswer tests_for(const CoverageSet& set, const LineQuery& query) {
    std::set<std::string> names;
    for (const TestCase& t : set.tests())
        for (const auto& entry : t.files) names.insert(entry.first);

    QueryAnswer answer;
    auto add = [&](const std::string& name) { answer.push_back(FileAnswer{name, false, {}}); };
    if (names.count(query.file) != 0) {
        add(query.file);
    } else {
        for (const std::string& name : names) {
            if (name.size() <= query.file.size()) continue;
            std::size_t start = name.size() - query.file.size();
            char before = name[start - 1];
            if ((before == '/' || before == '\\') && name.compare(start, std::string::npos, query.file) == 0) add(name);
        }
    }
    for (FileAnswer& file : answer) {
        for (const TestCase& t : set.tests()) {
            auto found_file = t.files.find(file.file);
            if (found_file == t.files.end()) continue;
            auto found_line = found_file->second.find(query.line);
            if (found_line == found_file->second.end()) continue;
            file.listed = true;
            if (found_line->second > 0) file.hits.emplace_back(t.name, found_line->second);
        }
    }
    return answer;
}

}  // namespace mirt_report
