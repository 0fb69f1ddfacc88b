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

#include "cobertura_export.h"
#include "coverage_writer.h"
#include "inputs.h"
#include "lcov_export.h"
#include "summary.h"
#include "tests_for.h"
#include "trace_decoder.h"

using namespace mirt_report;

namespace {

constexpr int exit_ok = 0;
constexpr int exit_bad_input = 1;

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

CLI::App* add_coverage_command(CLI::App& app, const char* name, const char* description, Common& common,
                               bool with_output, bool with_tests) {
    CLI::App* command = app.add_subcommand(name, description);
    command->add_option("files", common.files, "coverage output files (\"-\": standard input)")->required();
    if (with_output) command->add_option("-o,--output", common.output, "file to write (default: standard output)");
    if (with_tests)
        command->add_option("-t,--test", common.tests, "only this test case (repeatable)");
    return command;
}

int run(int argc, char** argv) {
    CLI::App app{"mirt-report: coverage output of mirt64 as summaries, LCOV, Cobertura XML and trace listings"};
    app.set_version_flag("--version", std::string("mirt-report ") + MIRT_REPORT_VERSION);
    app.require_subcommand(1);
    app.fallthrough();

    LoadOptions load;
    app.add_flag("--lenient", load.parse.lenient,
                 "skip malformed lines with a warning instead of stopping at the first");
    bool lines_stay_with_files = false;
    app.add_flag("--lines-stay-with-files", lines_stay_with_files,
                 "count lines under a file heading always belong to that file (for registered line tables out of "
                 "order; simple counters right after a file's lines are then read as its lines)");
    app.add_flag("--running-totals", load.running_totals,
                 "record groups of one test case in one file are running totals: keep the last instead of summing");

    Common common;
    bool json = false;
    CLI::App* summary = add_coverage_command(app, "summary", "per test case: files, lines hit, hits; per file: lines hit",
                                             common, false, true);
    summary->add_flag("--json", json, "write JSON");

    std::string descriptions;
    CLI::App* lcov = add_coverage_command(app, "lcov", "an LCOV tracefile with one test name (TN:) per test case",
                                          common, true, true);
    lcov->add_option("--descriptions", descriptions,
                     "also write a test description file for genhtml --description-file");

    CoberturaOptions cobertura_options;
    CLI::App* cobertura = add_coverage_command(app, "cobertura", "Cobertura XML of all test cases together", common,
                                               true, true);
    cobertura->add_option("--source-root", cobertura_options.source_root,
                          "the folder that file names are relative to (default: .)");

    std::string where;
    CLI::App* tests_for_command = app.add_subcommand("tests-for", "which test cases hit FILE:LINE, with their counts");
    tests_for_command->add_option("line", where, "FILE:LINE")
        ->required()
        ->check(CLI::Validator(
            [](std::string& text) {
                LineQuery query;
                return parse_line_query(text, query);
            },
            "FILE:LINE"));
    tests_for_command->add_option("files", common.files, "coverage output files (\"-\": standard input)")->required();
    tests_for_command->add_flag("--json", json, "write JSON");

    CLI::App* merge = add_coverage_command(app, "merge",
                                           "one coverage file from many, summed per test case, file and line",
                                           common, true, true);

    std::string trace_path = "trace.out";
    std::string index_path = "/tmp/index.txt";
    CLI::App* trace = app.add_subcommand("trace", "the trace file as an indented enter/leave listing");
    trace->add_option("trace", trace_path, "trace file (default: trace.out)");
    trace->add_option("-i,--index", index_path, "index file (default: /tmp/index.txt)");
    trace->add_option("-o,--output", common.output, "file to write (default: standard output)");

    CLI11_PARSE(app, argc, argv);
    load.parse.find_simple_counters_after_files = !lines_stay_with_files;

    if (trace->parsed()) {
        std::ifstream index_in(index_path, std::ios::binary);
        if (!index_in) {
            std::cerr << index_path << ": error: can't open the index file\n";
            return exit_bad_input;
        }
        std::vector<IndexPoint> points = read_index(index_in);
        std::string bytes;
        if (!read_binary_file(trace_path, bytes)) {
            std::cerr << trace_path << ": error: can't open the trace file\n";
            return exit_bad_input;
        }
        if (bytes.size() % 3 != 0) {
            // The runtime writes whole 3-byte records only: the rest of one is a file cut short.
            std::cerr << trace_path << ": " << (load.parse.lenient ? "warning" : "error") << ": " << bytes.size()
                      << " bytes are not a whole number of 3-byte records\n";
            if (!load.parse.lenient) return exit_bad_input;
        }
        std::vector<int32_t> records = decode_trace(bytes);
        return write_output(common.output, [&](std::ostream& out) {
            write_trace_listing(out, records, points);
            return static_cast<bool>(out);
        });
    }

    CoverageSet set;
    std::vector<Diagnostic> diagnostics;
    bool ok = load_coverage(common.files, load, set, diagnostics);
    for (const Diagnostic& d : diagnostics) std::cerr << to_string(d) << '\n';
    if (!ok) return exit_bad_input;
    if (!common.tests.empty()) {
        for (const std::string& name : common.tests)
            if (set.find(name) == nullptr) std::cerr << "mirt-report: warning: no test case named " << name << '\n';
        set = set.only(common.tests);
    }

    if (summary->parsed()) {
        return write_output("", [&](std::ostream& out) {
            if (json)
                out << json_text(summary_json(set)) << '\n';
            else
                write_summary(out, set);
            return true;
        });
    }
    if (lcov->parsed()) {
        if (!descriptions.empty()) {
            int status = write_output(descriptions, [&](std::ostream& out) {
                write_lcov_descriptions(out, set);
                return true;
            });
            if (status != exit_ok) return status;
        }
        return write_output(common.output, [&](std::ostream& out) {
            write_lcov(out, set);
            return true;
        });
    }
    if (cobertura->parsed()) {
        cobertura_options.timestamp = report_time();
        cobertura_options.version = std::string("mirt-report ") + MIRT_REPORT_VERSION;
        return write_output(common.output, [&](std::ostream& out) {
            return write_cobertura(out, set.combined("all"), cobertura_options);
        });
    }
    if (merge->parsed()) {
        return write_output(common.output, [&](std::ostream& out) {
            write_coverage(out, set);
            return true;
        });
    }
    // tests-for
    LineQuery query;
    parse_line_query(where, query);  // checked while the command line was parsed
    QueryAnswer answer = tests_for(set, query);
    if (answer.empty()) {
        std::cerr << "mirt-report: error: no file named " << query.file << " in the coverage data\n";
        return exit_bad_input;
    }
    return write_output("", [&](std::ostream& out) {
        if (json) {
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
