// main.cpp: mirt-report, the command line over coverage output, index and trace files.
#include <CLI/CLI.hpp>

#include <cstdlib>
#include <ctime>
#include <exception>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <sstream>

#include "tools/report/changes.h"
#include "tools/report/cobertura_export.h"
#include "tools/report/coverage_writer.h"
#include "tools/report/file_filters.h"
#include "tools/report/inputs.h"
#include "tools/report/lcov_export.h"
#include "tools/report/line_map.h"
#include "tools/report/summary.h"
#include "tools/report/tests_for.h"
#include "tools/report/trace_decoder.h"

using namespace mirt_report;

namespace {

constexpr int exit_ok = 0;
constexpr int exit_bad_input = 1;
constexpr int exit_usage = 2;
constexpr int exit_below = 3;  // --fail-under: coverage below the threshold

struct Common {
    std::vector<std::string> files;
    std::vector<std::string> tests;
    std::string output;
};


// Writes through fill to the output file, or to standard output for "" and "-".
int write_output(const std::string& path, const std::function<bool(std::ostream&)>& fill) {
    if (path.empty() || path == "-") {
        bool ok = fill(std::cout);
        std::cout.flush();
        if (ok && std::cout) return exit_ok;
        std::cerr << "mirt-report: error: can't write to standard output\n";
        return exit_bad_input;
    }
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    if (!out) {
        std::cerr << "mirt-report: error: can't create " << path << '\n';
        return exit_bad_input;
    }
    bool ok = fill(out);
    out.close();
    if (ok && out) return exit_ok;
    std::cerr << "mirt-report: error: can't write to " << path << '\n';
    return exit_bad_input;
}

bool read_binary_file(const std::string& path, std::string& bytes) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return !in.bad();
}

int64_t report_time() {
    // A reproducible build's fixed time, when it sets one.
    if (const char* fixed = std::getenv("SOURCE_DATE_EPOCH")) {
        char* end = nullptr;
        long long seconds = std::strtoll(fixed, &end, 10);
        if (end != fixed && *end == '\0') return seconds;
    }
    return static_cast<int64_t>(std::time(nullptr));
}

// Everything the command line sets.
struct Settings {
    Common common;
    LoadOptions load;
    bool lines_stay_with_files = false;
    bool json = false;
    std::vector<std::string> maps;  // --map: map files and folders
    FileFilters filters;
    double fail_under = -1;         // percent; below it the exit status is exit_below
    double fail_under_branch = -1;  // the same for branch outcomes taken
    std::string descriptions;
    std::string diff;               // a unified diff ("-": standard input)
    std::vector<std::string> query; // tests-for: FILE:LINE first unless --diff
    std::string trace_path = "trace.out";
    std::string index_path = "/tmp/index.txt";
};

CLI::App* add_coverage_command(CLI::App& app, const char* name, const char* description, Common& common,
                               bool with_output, bool with_tests) {
    CLI::App* command = app.add_subcommand(name, description);
    command->add_option("files", common.files, "coverage output files (\"-\": standard input)")->required();
    if (with_output) command->add_option("-o,--output", common.output, "file to write (default: standard output)");
    if (with_tests)
        command->add_option("-t,--test", common.tests, "only this test case (repeatable)");
    return command;
}

// The coverage and, unless without_map, the line maps, with the filters and
// exclusion markers applied. False after a message when input is bad.
struct Loaded {
    CoverageSet set;
    LineMap map;
    bool have_map = false;
};

bool load_map(const Settings& s, LineMap& map) {
    std::vector<std::string> paths = s.maps;
    bool searched = paths.empty();
    if (searched) {
        const char* dir = std::getenv("MIRT_MAP_DIR");
        paths.push_back(dir && *dir ? dir : ".");
    }
    std::vector<Diagnostic> diagnostics;
    bool ok = load_line_maps(paths, map, diagnostics);
    for (const Diagnostic& d : diagnostics) std::cerr << to_string(d) << '\n';
    // A map that was asked for by name must be there; a search may find none.
    if (!ok && !searched) return false;
    if (map.empty())
        std::cerr << "mirt-report: warning: no line map found (give the build folder with --map); "
                     "percentages count recorded lines only\n";
    return true;
}

bool load(const Settings& s, bool with_map, Loaded& loaded) {
    std::vector<Diagnostic> diagnostics;
    bool ok = load_coverage(s.common.files, s.load, loaded.set, diagnostics);
    for (const Diagnostic& d : diagnostics) std::cerr << to_string(d) << '\n';
    if (!ok) return false;
    loaded.set.for_each_test(separate_branch_tables);
    if (!s.common.tests.empty()) {
        for (const std::string& name : s.common.tests)
            if (loaded.set.find(name) == nullptr) std::cerr << "mirt-report: warning: no test case named " << name << '\n';
        loaded.set = loaded.set.only(s.common.tests);
    }
    if (with_map && !load_map(s, loaded.map)) return false;
    loaded.have_map = !loaded.map.empty();
    for (const std::string& at : derive_counts(loaded.set, loaded.map))
        std::cerr << "mirt-report: warning: " << at
                  << " has a counter in some objects and takes another line's count in others (built with other "
                     "macros?): the counts of such lines leave out what the other objects ran\n";
    apply_exclusion_markers(loaded.set, loaded.map, s.filters.source_root);
    apply_file_filters(loaded.set, loaded.map, s.filters);
    add_unrun_lines(loaded.set, loaded.map);
    return true;
}

const LineMap* map_of(const Loaded& loaded) { return loaded.have_map ? &loaded.map : nullptr; }

// exit_ok, or exit_below with a message when the rate is under the threshold.
int check_threshold(double threshold, const char* what, std::size_t hit, std::size_t all, int status) {
    if (status != exit_ok || threshold < 0) return status;
    double rate = all == 0 ? 100.0 : 100.0 * static_cast<double>(hit) / static_cast<double>(all);
    if (rate + 1e-9 >= threshold) return status;
    std::cerr << "mirt-report: " << what << " coverage " << percent_text(hit, all) << " is below " << threshold
              << "%\n";
    return exit_below;
}

int line_threshold(const Settings& s, const Loaded& loaded, int status) {
    TestCase all = loaded.set.combined("all");
    Totals lines = totals_of(all.files), branches = totals_of(all.branches);
    status = check_threshold(s.fail_under, "line", lines.lines_hit, lines.lines, status);
    return check_threshold(s.fail_under_branch, "branch", branches.lines_hit, branches.lines, status);
}

int run_summary(const Settings& s) {
    Loaded loaded;
    if (!load(s, true, loaded)) return exit_bad_input;
    int status = write_output("", [&](std::ostream& out) {
        if (s.json)
            out << json_text(summary_json(loaded.set, map_of(loaded))) << '\n';
        else
            write_summary(out, loaded.set, map_of(loaded));
        return true;
    });
    return line_threshold(s, loaded, status);
}

int run_lcov(const Settings& s) {
    Loaded loaded;
    if (!load(s, true, loaded)) return exit_bad_input;
    if (!s.descriptions.empty()) {
        int status = write_output(s.descriptions, [&](std::ostream& out) {
            write_lcov_descriptions(out, loaded.set);
            return true;
        });
        if (status != exit_ok) return status;
    }
    int status = write_output(s.common.output, [&](std::ostream& out) {
        write_lcov(out, loaded.set, map_of(loaded));
        return true;
    });
    return line_threshold(s, loaded, status);
}

int run_cobertura(const Settings& s) {
    Loaded loaded;
    if (!load(s, true, loaded)) return exit_bad_input;
    CoberturaOptions options;
    if (!s.filters.source_root.empty()) options.source_root = s.filters.source_root;
    options.timestamp = report_time();
    options.version = std::string("mirt-report ") + MIRT_REPORT_VERSION;
    int status = write_output(s.common.output, [&](std::ostream& out) {
        return write_cobertura(out, loaded.set.combined("all"), options, map_of(loaded));
    });
    return line_threshold(s, loaded, status);
}

int run_merge(const Settings& s) {
    CoverageSet set;
    std::vector<Diagnostic> diagnostics;
    bool ok = load_coverage(s.common.files, s.load, set, diagnostics);
    for (const Diagnostic& d : diagnostics) std::cerr << to_string(d) << '\n';
    if (!ok) return exit_bad_input;
    if (!s.common.tests.empty()) set = set.only(s.common.tests);
    return write_output(s.common.output, [&](std::ostream& out) {
        write_coverage(out, set);
        return true;
    });
}

int run_trace(const Settings& s) {
    std::ifstream index_in(s.index_path, std::ios::binary);
    if (!index_in) {
        std::cerr << s.index_path << ": error: can't open the index file\n";
        return exit_bad_input;
    }
    std::vector<IndexPoint> points = read_index(index_in);
    std::string bytes;
    if (!read_binary_file(s.trace_path, bytes)) {
        std::cerr << s.trace_path << ": error: can't open the trace file\n";
        return exit_bad_input;
    }
    if (bytes.size() % 3 != 0) {
        // The runtime writes whole 3-byte records only: the rest of one is a file cut short.
        std::cerr << s.trace_path << ": " << (s.load.parse.lenient ? "warning" : "error") << ": " << bytes.size()
                  << " bytes are not a whole number of 3-byte records\n";
        if (!s.load.parse.lenient) return exit_bad_input;
    }
    std::vector<int32_t> records = decode_trace(bytes);
    return write_output(s.common.output, [&](std::ostream& out) {
        write_trace_listing(out, records, points);
        return static_cast<bool>(out);
    });
}

bool read_diff(const std::string& path, ChangedLines& changed) {
    std::vector<Diagnostic> diagnostics;
    bool ok;
    if (path == "-") {
        ok = read_unified_diff(std::cin, "<stdin>", changed, diagnostics);
    } else {
        std::ifstream in(path, std::ios::binary);
        if (!in) {
            std::cerr << path << ": error: can't open the diff\n";
            return false;
        }
        ok = read_unified_diff(in, path, changed, diagnostics);
    }
    for (const Diagnostic& d : diagnostics) std::cerr << to_string(d) << '\n';
    return ok;
}

int run_changed(const Settings& s) {
    ChangedLines changed;
    if (!read_diff(s.diff, changed)) return exit_bad_input;
    Loaded loaded;
    if (!load(s, true, loaded)) return exit_bad_input;
    ChangeCoverage c = change_coverage(loaded.set.combined("all"), changed);
    int status = write_output("", [&](std::ostream& out) {
        if (s.json) {
            nlohmann::json files = nlohmann::json::array();
            for (const ChangedFile& f : c.files) {
                Totals t = totals_of(f.lines);
                nlohmann::json never = nlohmann::json::array();
                for (const auto& [line, count] : f.lines)
                    if (count == 0) never.push_back(line);
                Totals b = totals_of(f.branches);
                files.push_back({{"file", f.file}, {"lines", t.lines}, {"ran", t.lines_hit}, {"never_run", never},
                                 {"branches", b.lines}, {"branches_taken", b.lines_hit}});
            }
            out << json_text({{"lines", c.lines}, {"ran", c.ran}, {"branches", c.branches}, {"branches_taken", c.taken},
                              {"files", files}})
                << '\n';
            return true;
        }
        out << "changed lines that could run: " << c.lines << ", ran: " << c.ran << " ("
            << percent_text(c.ran, c.lines) << ")";
        if (c.branches > 0)
            out << "; branch outcomes: " << c.branches << ", taken: " << c.taken << " ("
                << percent_text(c.taken, c.branches) << ")";
        out << '\n';
        for (const ChangedFile& f : c.files) {
            Totals t = totals_of(f.lines);
            out << "    " << f.file << ": " << t.lines_hit << " of " << t.lines << " ran ("
                << percent_text(t.lines_hit, t.lines) << ")";
            std::string never;
            for (const auto& [line, count] : f.lines)
                if (count == 0) never += (never.empty() ? "" : ", ") + std::to_string(line);
            if (!never.empty()) out << "; never run: " << never;
            std::string untaken;
            for (const auto& [id, count] : f.branches)
                if (count == 0) {
                    MappedBranch b = branch_of(map_of(loaded), f.file, id);
                    untaken += (untaken.empty() ? "" : ", ") + std::to_string(b.line) + " " + b.text;
                }
            if (!untaken.empty()) out << "; never taken: " << untaken;
            out << '\n';
        }
        return true;
    });
    status = check_threshold(s.fail_under, "changed-line", c.ran, c.lines, status);
    return check_threshold(s.fail_under_branch, "changed-branch", c.taken, c.branches, status);
}

int run_tests_for_change(const Settings& s) {
    ChangedLines changed;
    if (!read_diff(s.diff, changed)) return exit_bad_input;
    Loaded loaded;
    if (!load(s, false, loaded)) return exit_bad_input;
    auto tests = tests_for_change(loaded.set, changed);
    return write_output("", [&](std::ostream& out) {
        if (s.json) {
            nlohmann::json list = nlohmann::json::array();
            for (const auto& [test, lines] : tests) list.push_back({{"test", test}, {"changed_lines_run", lines}});
            out << json_text({{"tests", list}}) << '\n';
            return true;
        }
        out << tests.size() << (tests.size() == 1 ? " test case ran" : " test cases ran") << " changed lines\n";
        for (const auto& [test, lines] : tests) out << "  " << lines << "  " << test << '\n';
        return true;
    });
}

int run_tests_for_line(const Settings& s) {
    LineQuery query;
    std::string problem = parse_line_query(s.query.front(), query);
    if (!problem.empty()) {
        std::cerr << "mirt-report: error: " << problem << '\n';
        return exit_usage;
    }
    Loaded loaded;
    if (!load(s, false, loaded)) return exit_bad_input;
    QueryAnswer answer = tests_for(loaded.set, query);
    if (answer.empty()) {
        std::cerr << "mirt-report: error: no file named " << query.file << " in the coverage data\n";
        return exit_bad_input;
    }
    return write_output("", [&](std::ostream& out) {
        if (s.json) {
            nlohmann::json files = nlohmann::json::array();
            for (const FileAnswer& file : answer) {
                nlohmann::json hits = nlohmann::json::array();
                for (const auto& [test, count] : file.hits) hits.push_back({{"test", test}, {"count", count}});
                files.push_back({{"file", file.file}, {"listed", file.listed}, {"hits", hits}});
            }
            out << json_text({{"line", query.line}, {"files", files}}) << '\n';
            return true;
        }
        for (const FileAnswer& file : answer) {
            std::size_t n = file.hits.size();
            out << file.file << ':' << query.line << ": ";
            if (n > 0)
                out << "hit by " << n << (n == 1 ? " test case\n" : " test cases\n");
            else
                out << (file.listed ? "listed, but no test case hits it\n" : "no test case lists this line\n");
            for (const auto& [test, count] : file.hits) out << "  " << count << "  " << test << '\n';
        }
        return true;
    });
}

int run(int argc, char** argv) {
    CLI::App app{"mirt-report: coverage output of mirt64 as summaries, LCOV, Cobertura XML and trace listings"};
    app.set_version_flag("--version", std::string("mirt-report ") + MIRT_REPORT_VERSION);
    app.require_subcommand(1);
    app.fallthrough();

    Settings s;
    app.add_flag("--lenient", s.load.parse.lenient,
                 "skip malformed lines with a warning instead of stopping at the first");
    app.add_flag("--lines-stay-with-files", s.lines_stay_with_files,
                 "count lines under a file heading always belong to that file (for registered line tables out of "
                 "order; simple counters right after a file's lines are then read as its lines)");
    app.add_flag("--running-totals", s.load.running_totals,
                 "record groups of one test case in one file are running totals: keep the last instead of summing");
    // One value an option, however many times it is given, so that the
    // coverage files after it stay the sub-command's.
    app.add_option("--map", s.maps,
                   "line maps of the build: map files or folders searched for *.mirtmap (default: $MIRT_MAP_DIR, "
                   "else the current folder)")
        ->expected(1)->allow_extra_args(false)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    app.add_option("--source-root", s.filters.source_root, "file names under this folder are shown relative to it");
    app.add_option("--include", s.filters.include, "only files whose name matches this glob (repeatable)")
        ->expected(1)->allow_extra_args(false)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    app.add_option("--exclude", s.filters.exclude, "leave out files whose name matches this glob (repeatable)")
        ->expected(1)->allow_extra_args(false)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    app.add_option("--fail-under", s.fail_under, "exit with status 3 when line coverage is below PCT percent")
        ->check(CLI::Range(0.0, 100.0));
    app.add_option("--fail-under-branch", s.fail_under_branch,
                   "exit with status 3 when fewer than PCT percent of the branch outcomes were taken")
        ->check(CLI::Range(0.0, 100.0));

    Common& common = s.common;
    CLI::App* summary = add_coverage_command(app, "summary",
                                             "per test case and file: lines that could run, lines hit, never-run lines",
                                             common, false, true);
    summary->add_flag("--json", s.json, "write JSON");
    CLI::App* lcov = add_coverage_command(app, "lcov", "an LCOV tracefile with one test name (TN:) per test case",
                                          common, true, true);
    lcov->add_option("--descriptions", s.descriptions,
                     "also write a test description file for genhtml --description-file");
    CLI::App* cobertura = add_coverage_command(app, "cobertura", "Cobertura XML of all test cases together", common,
                                               true, true);
    CLI::App* changed = app.add_subcommand("changed", "coverage of the lines that a unified diff adds or changes");
    changed->add_option("diff", s.diff, "the diff (git diff output; \"-\": standard input)")->required();
    changed->add_option("files", common.files, "coverage output files")->required();
    changed->add_option("-t,--test", common.tests, "only this test case (repeatable)");
    changed->add_flag("--json", s.json, "write JSON");

    CLI::App* tests_for_command =
        app.add_subcommand("tests-for", "which test cases hit FILE:LINE, or with --diff any changed line");
    tests_for_command->add_option("args", s.query, "FILE:LINE (not with --diff), then coverage output files")
        ->required();
    tests_for_command->add_option("--diff", s.diff, "a unified diff: list the test cases that ran its changed lines");
    tests_for_command->add_flag("--json", s.json, "write JSON");

    CLI::App* merge = add_coverage_command(app, "merge",
                                           "one coverage file from many, summed per test case, file and line",
                                           common, true, true);
    CLI::App* trace = app.add_subcommand("trace", "the trace file as an indented enter/leave listing");
    trace->add_option("trace", s.trace_path, "trace file (default: trace.out)");
    trace->add_option("-i,--index", s.index_path, "index file (default: /tmp/index.txt)");
    trace->add_option("-o,--output", common.output, "file to write (default: standard output)");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        int status = app.exit(e);
        return status == 0 ? exit_ok : exit_usage;
    }
    s.load.parse.find_simple_counters_after_files = !s.lines_stay_with_files;

    if (trace->parsed()) return run_trace(s);
    if (summary->parsed()) return run_summary(s);
    if (lcov->parsed()) return run_lcov(s);
    if (cobertura->parsed()) return run_cobertura(s);
    if (merge->parsed()) return run_merge(s);
    if (changed->parsed()) return run_changed(s);
    // tests-for
    if (!s.diff.empty()) {
        common.files = s.query;
        return run_tests_for_change(s);
    }
    if (s.query.size() < 2) {
        std::cerr << "mirt-report: error: tests-for needs FILE:LINE and at least one coverage file\n";
        return exit_usage;
    }
    common.files.assign(s.query.begin() + 1, s.query.end());
    return run_tests_for_line(s);
}

}  // namespace

int main(int argc, char** argv) {
    // Whatever goes wrong (even running out of memory on a huge input) ends
    // in a message and an exit status, never in an abort.
    try {
        return run(argc, argv);
    } catch (const std::exception& e) {
        std::cerr << "mirt-report: error: " << e.what() << '\n';
    } catch (...) {
        std::cerr << "mirt-report: error: unexpected failure\n";
    }
    return exit_bad_input;
}
