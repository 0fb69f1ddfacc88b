// file_filters.cpp: source roots, include and exclude globs, exclusion markers.
#include "tools/report/file_filters.h"

#include <fnmatch.h>
#include <sys/stat.h>

#include <fstream>
#include <sstream>

namespace mirt_report {

namespace {

bool readable_file(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

bool is_absolute(const std::string& name) {
    return (!name.empty() && (name[0] == '/' || name[0] == '\\')) || (name.size() > 2 && name[1] == ':');
}

bool read_text(const std::string& path, std::string& text) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    std::ostringstream s;
    s << in.rdbuf();
    text = s.str();
    return true;
}

bool matches(const std::vector<std::string>& globs, const std::string& a, const std::string& b) {
    for (const std::string& g : globs)
        if (fnmatch(g.c_str(), a.c_str(), 0) == 0 || fnmatch(g.c_str(), b.c_str(), 0) == 0) return true;
    return false;
}

}  // namespace

std::string relative_to(const std::string& name, const std::string& root) {
    std::string r = root;
    while (r.size() > 1 && (r.back() == '/' || r.back() == '\\')) r.pop_back();
    if (r.empty() || r == ".") return name;
    if (name.size() <= r.size() + 1 || name.compare(0, r.size(), r) != 0) return name;
    char separator = name[r.size()];
    if (r == "/") return name.substr(1);
    if (separator != '/' && separator != '\\') return name;
    return name.substr(r.size() + 1);
}

std::string find_source(const std::string& name, const LineMap& map, const std::string& source_root) {
    if (is_absolute(name)) return readable_file(name) ? name : "";
    std::vector<std::string> candidates;
    if (const FileMap* f = map.find(name))
        if (!f->folder.empty()) candidates.push_back(f->folder + "/" + name);
    if (!source_root.empty()) candidates.push_back(source_root + "/" + name);
    candidates.push_back(name);
    for (const std::string& c : candidates)
        if (readable_file(c)) return c;
    return "";
}

std::vector<int32_t> excluded_lines(const std::string& text) {
    std::vector<int32_t> lines;
    std::istringstream in(text);
    std::string line;
    bool in_block = false;
    for (int32_t n = 1; std::getline(in, line); ++n) {
        bool start = line.find("LCOV_EXCL_START") != std::string::npos;
        bool stop = line.find("LCOV_EXCL_STOP") != std::string::npos;
        if (start) in_block = true;
        if (in_block || line.find("LCOV_EXCL_LINE") != std::string::npos) lines.push_back(n);
        if (stop) in_block = false;
    }
    return lines;
}

void apply_exclusion_markers(CoverageSet& set, LineMap& map, const std::string& source_root) {
    std::set<std::string> names;
    for (const TestCase& t : set.tests())
        for (const auto& entry : t.files) names.insert(entry.first);
    for (const auto& entry : map.files()) names.insert(entry.first);
    for (const std::string& name : names) {
        std::string path = find_source(name, map, source_root);
        std::string text;
        if (path.empty() || !read_text(path, text) || text.find("LCOV_EXCL_") == std::string::npos) continue;
        std::vector<int32_t> excluded = excluded_lines(text);
        std::set<int32_t> gone(excluded.begin(), excluded.end());
        set.for_each_test([&](TestCase& t) {
            auto found = t.files.find(name);
            if (found != t.files.end())
                for (int32_t line : excluded) found->second.erase(line);
            auto branches = t.branches.find(name);
            if (branches != t.branches.end())
                for (auto it = branches->second.begin(); it != branches->second.end();)
                    it = gone.count(it->first / 100) ? branches->second.erase(it) : std::next(it);
        });
        auto mapped = map.files().find(name);
        if (mapped == map.files().end()) continue;
        for (int32_t line : excluded) mapped->second.lines.erase(line);
        for (auto it = mapped->second.branches.begin(); it != mapped->second.branches.end();)
            it = gone.count(it->second.line) ? mapped->second.branches.erase(it) : std::next(it);
        for (auto it = mapped->second.functions.begin(); it != mapped->second.functions.end();)
            it = gone.count(it->first_line) ? mapped->second.functions.erase(it) : std::next(it);
    }
}

void apply_file_filters(CoverageSet& set, LineMap& map, const FileFilters& filters) {
    auto kept = [&](const std::string& data_name, const std::string& shown) {
        if (!filters.include.empty() && !matches(filters.include, shown, data_name)) return false;
        return !matches(filters.exclude, shown, data_name);
    };
    set.for_each_test([&](TestCase& t) {
        FileCounts files;
        for (auto& [name, lines] : t.files) {
            std::string shown = relative_to(name, filters.source_root);
            if (kept(name, shown)) add_lines(files[shown], lines);
        }
        t.files.swap(files);
        FileCounts branches;
        for (auto& [name, ids] : t.branches) {
            std::string shown = relative_to(name, filters.source_root);
            if (kept(name, shown)) add_lines(branches[shown], ids);
        }
        t.branches.swap(branches);
    });
    std::map<std::string, FileMap> files;
    for (auto& [name, file] : map.files()) {
        std::string shown = relative_to(name, filters.source_root);
        if (!kept(name, shown)) continue;
        auto found = files.find(shown);
        if (found == files.end()) {
            files.emplace(shown, std::move(file));
        } else {
            found->second.lines.insert(file.lines.begin(), file.lines.end());
            found->second.functions.insert(file.functions.begin(), file.functions.end());
            found->second.branches.insert(file.branches.begin(), file.branches.end());
        }
    }
    map.files().swap(files);
}

}  // namespace mirt_report
