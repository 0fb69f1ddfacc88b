// coverage_parser.cpp: the reader of the runtime's record groups and section lines.
//
// A record group is "=== <test name>" and ">>> <label>", then the sections:
// directory headings "--- <dir>", file headings "### <file>" and count lines
// "<line>,<count>". The simple-counter lines have the count lines' form but no
// heading; the runtime writes them after the point-hit and source-line
// sections and before the registration sections, which always open with a
// heading. Where they start is found from the order of the lines: within one
// file heading the first two sections list lines in ascending order, so a
// count line whose number falls below the previous one, and that could be a
// simple counter (number 1 to 999,999, count above zero), opens the simple
// counters. If a later line of the same run cannot be one (numbers must rise,
// counts stay above zero), the run was file lines after all and goes back to
// the file. Count lines before any heading are simple counters.
//
// The format itself cannot tell every case apart: a registered line table
// whose lines fall and then rise again, in a group whose point-hit and
// source-line sections are empty, reads as a file line followed by simple
// counters; and simple counters whose numbers continue above the last line
// of the file before them read as lines of that file. The reader can be told
// to keep every line under a heading with its file instead.
#include "tools/report/coverage_parser.h"

#include <charconv>
#include <cstdio>
#include <utility>

namespace mirt_report {

namespace {

// Longer lines than this are not the runtime's (its keys are file names and
// its test names at most 255 bytes): they are reported, never held in full.
constexpr std::size_t max_line_length = 64 * 1024;
constexpr int32_t max_simple_counter = 999999;

class LineReader {
public:
    explicit LineReader(std::istream& in) : buffer_(in.rdbuf()) {}

    // The next line without its line feed; false at the end of the input.
    bool next(std::string& line) {
        line.clear();
        complete_ = false;
        too_long_ = false;
        if (buffer_ == nullptr) return false;
        int c = buffer_->sbumpc();
        if (c == std::char_traits<char>::eof()) return false;
        ++number_;
        for (; c != std::char_traits<char>::eof(); c = buffer_->sbumpc()) {
            if (c == '\n') {
                complete_ = true;
                break;
            }
            if (line.size() < max_line_length)
                line.push_back(static_cast<char>(c));
            else
                too_long_ = true;
        }
        return true;
    }
    std::size_t number() const { return number_; }
    bool complete() const { return complete_; }
    bool too_long() const { return too_long_; }

private:
    std::streambuf* buffer_;
    std::size_t number_ = 0;
    bool complete_ = false;
    bool too_long_ = false;
};

bool starts_with(const std::string& s, const char* prefix) { return s.rfind(prefix, 0) == 0; }

bool equal_ignoring_case(const std::string& a, const std::string& b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        unsigned char x = static_cast<unsigned char>(a[i]), y = static_cast<unsigned char>(b[i]);
        if (x >= 'A' && x <= 'Z') x = static_cast<unsigned char>(x - 'A' + 'a');
        if (y >= 'A' && y <= 'Z') y = static_cast<unsigned char>(y - 'A' + 'a');
        if (x != y) return false;
    }
    return true;
}

// "<number>,<count>": a signed 32-bit number and a count from 0 to the
// largest signed 64-bit value, plain decimal, nothing else on the line.
// Returns an empty string on success, otherwise why the line is not one.
std::string read_count_line(const std::string& s, int32_t& number, int64_t& count) {
    std::size_t comma = s.find(',');
    if (comma == std::string::npos) return "not a count line";
    const char* begin = s.data();
    const char* end = s.data() + s.size();
    auto first = std::from_chars(begin, begin + comma, number);
    if (first.ec == std::errc::result_out_of_range) return "line number out of the 32-bit range";
    if (first.ec != std::errc() || first.ptr != begin + comma || comma == 0) return "not a count line";
    auto second = std::from_chars(begin + comma + 1, end, count);
    if (second.ec == std::errc::result_out_of_range) return "count out of the 64-bit range";
    if (second.ec != std::errc() || second.ptr != end) return "not a count line";
    if (count < 0) return "negative count";
    return "";
}

class Parser {
public:
    Parser(const std::string& source, const ParseOptions& options, const GroupHandler& on_group,
           std::vector<Diagnostic>& diagnostics)
        : source_(source), options_(options), on_group_(on_group), diagnostics_(diagnostics) {}

    // Takes one line; false when reading must stop.
    bool take(std::string line, std::size_t number) {
        if (!line.empty() && line.back() == '\r') line.pop_back();  // a copy made with CR LF line ends
        if (state_ == State::expect_label) {
            state_ = State::body;
            if (starts_with(line, ">>> ")) {
                group_.labels.push_back(line.substr(4));
                return true;
            }
            group_.labels.push_back("");
            if (!malformed(header_line_, "test name line not followed by a \">>> \" label line")) return false;
            // Lenient: the group goes on without a label, and this line is read as usual.
        }
        if (starts_with(line, "=== ")) {
            end_group();
            group_ = TestCase{};
            group_.name = line.substr(4);
            group_.record_groups = 1;
            header_line_ = number;
            state_ = State::expect_label;
            return true;
        }
        if (state_ == State::outside)
            return malformed(number, "line before the first \"=== \" test name line: " + quote_line(line));
        return body_line(line, number);
    }

    // The input has ended; false when its end is malformed.
    bool finish() {
        bool ok = true;
        if (state_ == State::expect_label) {
            group_.labels.push_back("");
            ok = malformed(header_line_, "test name line at the end of the input without its \">>> \" label line");
            if (!ok) return false;
        }
        end_group();
        return ok;
    }

    // Records a malformed line; true when reading goes on (lenient mode).
    bool malformed(std::size_t number, const std::string& message) {
        diagnostics_.push_back(Diagnostic{source_, number, message, !options_.lenient});
        return options_.lenient;
    }

private:
    enum class State { outside, expect_label, body };
    enum class Phase { files, simple, late };

    bool body_line(const std::string& line, std::size_t number) {
        if (starts_with(line, "--- ")) {
            if (directory_pending_ &&
                !malformed(number, "directory heading right after another one, without a file heading"))
                return false;
            heading_seen();
            directory_ = line.substr(4);
            directory_pending_ = true;
            has_file_ = false;
            return true;
        }
        if (starts_with(line, "### ")) {
            heading_seen();
            std::string file = line.substr(4);
            // A key without a forward slash is written as a heading pair that
            // both hold the whole key. The pair is compared without regard to
            // case because three of the sections compare directories that way
            // and so leave out the directory heading of a key that differs
            // from the previous one only in case.
            file_ = equal_ignoring_case(file, directory_) ? file : directory_ + "/" + file;
            has_file_ = true;
            has_last_line_ = false;
            directory_pending_ = false;
            return true;
        }
        if (starts_with(line, ">>> "))
            return malformed(number, "label line without a \"=== \" test name line right before it");

        int32_t n = 0;
        int64_t count = 0;
        std::string why = read_count_line(line, n, count);
        if (!why.empty())
            return malformed(number, why == "not a count line"
                                         ? "not a heading (\"--- \", \"### \"), test name (\"=== \") or count "
                                           "line (<line>,<count>): " +
                                               quote_line(line)
                                         : why + ": " + quote_line(line));
        if (directory_pending_)
            return malformed(number, "count line between a directory heading and its file heading");
        return count_line(n, count, number);
    }

    bool count_line(int32_t n, int64_t count, std::size_t number) {
        bool could_be_simple = n >= 1 && n <= max_simple_counter && count > 0;
        if (phase_ == Phase::simple) {
            if (could_be_simple && n > simple_.back().first) {
                simple_.emplace_back(n, count);
                return true;
            }
            if (!simple_from_file_)
                return malformed(number, "simple-counter line out of order (numbers 1 to 999999, rising, "
                                         "counts above zero)");
            // The run was the file's own lines after all.
            LineCounts& lines = group_.files[file_];
            for (const auto& [line, hits] : simple_) add_count(lines[line], hits);
            simple_.clear();
            phase_ = Phase::files;
            add_file_line(n, count);
            return true;
        }
        if (!has_file_) {
            if (!could_be_simple)
                return malformed(number, "simple-counter line out of order (numbers 1 to 999999, rising, "
                                         "counts above zero)");
            phase_ = Phase::simple;
            simple_from_file_ = false;
            simple_.emplace_back(n, count);
            return true;
        }
        if (phase_ == Phase::files && has_last_line_ && n < last_line_ && could_be_simple &&
            options_.find_simple_counters_after_files) {
            phase_ = Phase::simple;
            simple_from_file_ = true;
            simple_.emplace_back(n, count);
            return true;
        }
        add_file_line(n, count);
        return true;
    }

    void add_file_line(int32_t n, int64_t count) {
        add_count(group_.files[file_][n], count);
        last_line_ = n;
        has_last_line_ = true;
    }

    // A heading ends a run of simple counters: the sections after them always
    // open with one.
    void heading_seen() {
        if (phase_ == Phase::simple) {
            commit_simple();
            phase_ = Phase::late;
        }
    }

    void commit_simple() {
        for (const auto& [n, hits] : simple_) add_count(group_.simple_counters[n], hits);
        simple_.clear();
    }

    void end_group() {
        if (state_ == State::outside) return;
        commit_simple();
        on_group_(std::move(group_));
        group_ = TestCase{};
        state_ = State::outside;
        phase_ = Phase::files;
        directory_.clear();
        directory_pending_ = false;
        has_file_ = false;
        has_last_line_ = false;
    }

    const std::string& source_;
    const ParseOptions& options_;
    const GroupHandler& on_group_;
    std::vector<Diagnostic>& diagnostics_;

    State state_ = State::outside;
    Phase phase_ = Phase::files;
    TestCase group_;
    std::size_t header_line_ = 0;
    std::string directory_;          // last directory heading of the group ("" before one)
    bool directory_pending_ = false;  // a directory heading still waits for its file heading
    std::string file_;                // the file that count lines belong to
    bool has_file_ = false;
    int32_t last_line_ = 0;           // previous count line under the current file heading
    bool has_last_line_ = false;
    std::vector<std::pair<int32_t, int64_t>> simple_;  // simple counters not yet committed
    bool simple_from_file_ = false;   // the run began under a file heading and may go back to it
};

}  // namespace

std::string to_string(const Diagnostic& d) {
    std::string where = d.line == 0 ? d.source : d.source + ":" + std::to_string(d.line);
    return where + (d.error ? ": error: " : ": warning: ") + d.message;
}

std::string quote_line(const std::string& text) {
    constexpr std::size_t shown = 80;
    std::string out = "\"";
    for (std::size_t i = 0; i < text.size() && i < shown; ++i) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        if (c < 0x20 || c >= 0x7f) {
            char hex[8];
            std::snprintf(hex, sizeof hex, "\\x%02X", c);
            out += hex;
        } else {
            out += static_cast<char>(c);
        }
    }
    out += text.size() > shown ? "\"..." : "\"";
    return out;
}

bool parse_coverage(std::istream& in, const std::string& source, const ParseOptions& options,
                    const GroupHandler& on_group, std::vector<Diagnostic>& diagnostics) {
    Parser parser(source, options, on_group, diagnostics);
    LineReader reader(in);
    std::string line;
    while (reader.next(line)) {
        if (reader.too_long()) {
            if (!parser.malformed(reader.number(), "line longer than 65536 bytes")) return false;
            continue;
        }
        if (!reader.complete()) {
            // The runtime ends every line with a line feed: a last line without
            // one is a write cut short, and its numbers may be cut too.
            if (!parser.malformed(reader.number(), "the last line has no line feed (the file ends in the middle "
                                                   "of a line): " +
                                                       quote_line(line)))
                return false;
            continue;
        }
        // A group that a process stopped writing midway (killed, say) runs
        // into the next process's "=== " line: the cut line is dropped and
        // the next group read from where it starts.
        // (Headings and labels may hold "=== " in their names.)
        if (std::size_t next = line.find("=== "); next != 0 && next != std::string::npos &&
                                                  !starts_with(line, "--- ") && !starts_with(line, "### ") &&
                                                  !starts_with(line, ">>> ")) {
            if (!parser.malformed(reader.number(), "a record group is cut short here (its process stopped while "
                                                   "writing it); the next one starts in the middle of the line: " +
                                                       quote_line(line)))
                return false;
            line.erase(0, next);
        }
        if (!parser.take(line, reader.number())) return false;
    }
    if (in.bad()) {
        diagnostics.push_back(Diagnostic{source, reader.number(), "read error"});
        return false;
    }
    return parser.finish();
}

}  // namespace mirt_report
