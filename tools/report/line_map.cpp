// line_map.cpp: reading the build's line maps and joining them with the counts.
#include "tools/report/line_map.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace mirt_report {

namespace {

template <typename T>
bool number_of(const std::string& text, T& value, int base = 10) {
    const char* end = text.data() + text.size();
    auto r = std::from_chars(text.data(), end, value, base);
    return r.ec == std::errc() && r.ptr == end && !text.empty();
}

// Exactly n numbers and nothing after them, into out.
bool numbers_in(const std::string& rest, std::size_t n, std::vector<int32_t>& out) {
    std::istringstream fields(rest);
    std::string text;
    out.assign(n, 0);
    for (int32_t& value : out)
        if (!(fields >> text) || !number_of(text, value)) return false;
    return !(fields >> text);
}

// Splits "word rest" at the first space.
std::pair<std::string, std::string> first_word(const std::string& line) {
    std::size_t space = line.find(' ');
    if (space == std::string::npos) return {line, ""};
    return {line.substr(0, space), line.substr(space + 1)};
}

}  // namespace

bool read_line_map(std::istream& in, const std::string& name, MapUnit& unit, std::vector<Diagnostic>& diagnostics) {
    std::string line;
    std::size_t number = 0;
    auto fail = [&](const std::string& message) {
        diagnostics.push_back({name, number, message, true});
        return false;
    };
    ++number;
    if (!std::getline(in, line) || line != "mirt-line-map 1") return fail("not a line map of this version");
    FileMap* file = nullptr;
    while (std::getline(in, line)) {
        ++number;
        auto [word, rest] = first_word(line);
        if (word == "end") {
            for (auto& entry : unit.files) {
                entry.second.built = unit.built;
                entry.second.folder = unit.folder;
            }
            return true;
        }
        if (word == "unit") {
            unit.source = rest;
        } else if (word == "folder") {
            unit.folder = rest;
        } else if (word == "built") {
            if (!number_of(rest, unit.built)) return fail("bad time " + quote_line(rest));
        } else if (word == "style") {
        } else if (word == "file") {
            auto [sum, file_name] = first_word(rest);
            uint64_t checksum = 0;
            if (sum.size() != 16 || !number_of(sum, checksum, 16) || file_name.empty())
                return fail("expected \"file CHECKSUM NAME\"");
            file = &unit.files[file_name];
            file->checksum = checksum;
        } else if (!file) {
            return fail(quote_line(word) + " before any file");
        } else if (word == "lines") {
            std::istringstream numbers(rest);
            std::string n;
            int32_t value = 0;
            while (numbers >> n) {
                if (!number_of(n, value) || value < 1) return fail("bad line number " + quote_line(n));
                file->lines.insert(value);
            }
        } else if (word == "function") {
            auto [first, after] = first_word(rest);
            auto [last, function_name] = first_word(after);
            MappedFunction f{function_name, 0, 0};
            if (!number_of(first, f.first_line) || !number_of(last, f.last_line) || function_name.empty() ||
                f.first_line < 1)
                return fail("expected \"function FIRST LAST NAME\"");
            file->functions.insert(f);
        } else if (word == "branch") {
            std::istringstream fields(rest);
            int32_t id = 0;
            MappedBranch b;
            std::string line_text, id_text, decision_text, outcome_text;
            fields >> line_text >> id_text >> decision_text >> outcome_text;
            std::getline(fields >> std::ws, b.text);
            if (!number_of(line_text, b.line) || !number_of(id_text, id) || !number_of(decision_text, b.decision) ||
                !number_of(outcome_text, b.outcome) || b.line < 1 || id / 100 != b.line)
                return fail("expected \"branch LINE ID DECISION OUTCOME TEXT\"");
            file->branches[id] = b;
        } else if (word == "from") {
            std::vector<int32_t> n;
            if (!numbers_in(rest, 3, n) || n[1] < 1 || n[2] < 0 || !file->branches.count(n[0]))
                return fail("expected \"from ID LINE LINE\" after the branch ID");
            file->branches[n[0]].from_line = n[1];
            file->branches[n[0]].less_line = n[2];
        } else if (word == "same") {
            std::vector<int32_t> n;
            if (!numbers_in(rest, 2, n) || n[0] < 1 || n[1] < 1) return fail("expected \"same LINE LINE\"");
            file->same[n[0]] = n[1];
            file->lines.insert(n[0]);
        } else if (word == "sum") {
            std::vector<int32_t> n;
            if (!numbers_in(rest, 3, n) || n[0] < 1 || n[1] < 1 || n[2] < 1)
                return fail("expected \"sum LINE LINE LINE\"");
            file->sums[n[0]] = {n[1], n[2]};
            file->lines.insert(n[0]);
        } else if (word == "unprobed") {
            file->unprobed = rest;
        } else {
            return fail("unknown record " + quote_line(word));
        }
    }
    ++number;
    return fail("the map ends before its \"end\" line (cut short?)");
}

void LineMap::add(const MapUnit& unit) {
    for (const auto& [name, file] : unit.files) {
        auto found = files_.find(name);
        if (found == files_.end() || (file.checksum != found->second.checksum && file.built > found->second.built)) {
            files_[name] = file;
            continue;
        }
        FileMap& into = found->second;
        if (file.checksum != into.checksum) continue;  // an older version of the file
        into.lines.insert(file.lines.begin(), file.lines.end());
        into.functions.insert(file.functions.begin(), file.functions.end());
        // An outcome that one object counts and another leaves to the line
        // counts (the two built differently) is taken as counted.
        for (const auto& [id, branch] : file.branches) {
            auto [at, added] = into.branches.insert({id, branch});
            if (!added && branch.from_line == 0) at->second.from_line = at->second.less_line = 0;
        }
        into.same.insert(file.same.begin(), file.same.end());
        into.sums.insert(file.sums.begin(), file.sums.end());
        if (into.unprobed.empty()) into.unprobed = file.unprobed;
        if (file.built > into.built) {
            into.built = file.built;
            into.folder = file.folder;
        }
    }
}

const FileMap* LineMap::find(const std::string& file) const {
    auto found = files_.find(file);
    return found == files_.end() ? nullptr : &found->second;
}

bool load_line_maps(const std::vector<std::string>& paths, LineMap& map, std::vector<Diagnostic>& diagnostics) {
    namespace fs = std::filesystem;
    bool ok = true;
    auto read_one = [&](const std::string& path) {
        std::ifstream in(path, std::ios::binary);
        MapUnit unit;
        if (!in) {
            diagnostics.push_back({path, 0, "can't open the line map", true});
            return false;
        }
        if (read_line_map(in, path, unit, diagnostics)) map.add(unit);
        return true;
    };
    for (const std::string& path : paths) {
        std::error_code error;
        if (!fs::is_directory(path, error)) {
            ok = read_one(path) && ok;
            continue;
        }
        // Sorted, so that maps of equal age join in the same order every time.
        std::vector<std::string> found;
        fs::recursive_directory_iterator it(path, fs::directory_options::skip_permission_denied, error), end;
        if (error) {
            diagnostics.push_back({path, 0, "can't read the folder: " + error.message(), true});
            ok = false;
            continue;
        }
        for (; it != end; it.increment(error)) {
            if (error) break;
            const fs::path& p = it->path();
            std::string base = p.filename().string();
            if (it->is_directory(error)) {
                if (!base.empty() && base[0] == '.') it.disable_recursion_pending();
            } else if (p.extension() == ".mirtmap" && it->is_regular_file(error)) {
                found.push_back(p.string());
            }
        }
        std::sort(found.begin(), found.end());
        for (const std::string& f : found) read_one(f);
    }
    return ok;
}

MappedBranch branch_of(const LineMap* map, const std::string& file, int32_t id) {
    if (const FileMap* f = map ? map->find(file) : nullptr) {
        auto found = f->branches.find(id);
        if (found != f->branches.end()) return found->second;
    }
    return MappedBranch{id / 100, 0, id % 100, "branch " + std::to_string(id % 100)};
}

std::vector<std::string> derive_counts(CoverageSet& set, const LineMap& map) {
    std::map<std::string, int32_t> mixed;  // file -> its first such line
    set.for_each_test([&](TestCase& t) {
        for (const auto& entry : map.files()) {
            const std::string& name = entry.first;  // a name that lambdas can capture
            const FileMap& file = entry.second;
            auto lines = t.files.find(name);
            auto count = [&](int32_t line) -> int64_t {
                if (line == 0 || lines == t.files.end()) return 0;
                auto found = lines->second.find(line);
                return found == lines->second.end() ? 0 : found->second;
            };
            // A line that the coverage lists as well was counted by an object
            // that had a counter for it.
            auto derive = [&](int32_t line, int64_t n) {
                if (lines->second.count(line) != 0) {
                    auto [at, added] = mixed.emplace(name, line);
                    if (!added) at->second = std::min(at->second, line);
                } else if (n > 0) {
                    lines->second.emplace(line, n);
                }
            };
            if (lines != t.files.end()) {
                for (const auto& [line, from] : file.sums) derive(line, count(from.first) + count(from.second));
                for (const auto& [line, from] : file.same) derive(line, count(from));
            }
            for (const auto& [id, branch] : file.branches)
                if (branch.from_line != 0)
                    t.branches[name].emplace(id, std::max<int64_t>(0, count(branch.from_line) - count(branch.less_line)));
        }
    });
    std::vector<std::string> out;
    for (const auto& [name, line] : mixed) out.push_back(name + ":" + std::to_string(line));
    return out;
}

void add_unrun_lines(CoverageSet& set, const LineMap& map) {
    set.for_each_test([&](TestCase& t) {
        for (const auto& [name, file] : map.files()) {
            if (!file.lines.empty()) {
                LineCounts& lines = t.files[name];
                for (int32_t line : file.lines) lines.emplace(line, 0);
            }
            if (!file.branches.empty()) {
                LineCounts& ids = t.branches[name];
                for (const auto& entry : file.branches) ids.emplace(entry.first, 0);
            }
        }
    });
}

}  // namespace mirt_report
