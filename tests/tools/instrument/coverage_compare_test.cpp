// Programs built through mirt-cc count what gcov counts: each corpus program
// is built twice, with g++/gcc --coverage and through mirt-cc; both run on the
// same input and must print the same. Then every line that both count must
// have the same count, except lines marked "gcov:" in the corpus (or
// "function style:" for that style, which counts only function entries),
// where the mark says why the two cannot agree; the test checks that they
// still differ, so that a stale mark is noticed.
#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <regex>
#include <set>
#include <algorithm>

#include "tools/instrument/subprocess.h"
#include "tools/report/inputs.h"
#include "tools/report/line_map.h"
#include "tests/support/test_support.h"

using mirt_instrument::ProcessResult;
using mirt_instrument::run_process;

namespace {

const std::string kMirtCc = MIRT_MIRT_CC;
const std::string kInstrument = MIRT_MIRT_INSTRUMENT;
const std::string kExitFile = "/tmp/mirt_exit.out";
const std::string kIndexFile = "/tmp/index.txt";

// gcov -b -c's listing: each line's count (0 for code that never ran; the
// first row of a line is its total) and its branch counts in gcov's order
// ("never executed" is 0), without those of calls that may throw (a
// "throw" outcome and the "fallthrough" before it, the call's return).
void read_gcov(const std::string& path, std::map<int, long long>* counts,
               std::map<int, std::vector<long long>>* branches) {
    static const std::regex row(R"(^\s*([^:]+):\s*(\d+):.*$)");
    static const std::regex branch(R"(^branch\s+\d+\s+(taken (\d+)|never executed).*$)");
    int line = 0;
    bool after_fallthrough = false;
    for (const std::string& text : mirt_test::lines_of(mirt_test::read_file(path))) {
        std::smatch m;
        if (std::regex_match(text, m, branch)) {
            std::vector<long long>& outcomes = (*branches)[line];
            if (text.find("(throw)") == std::string::npos)
                outcomes.push_back(m[2].matched ? std::stoll(m[2].str()) : 0);
            else if (after_fallthrough && !outcomes.empty())
                outcomes.pop_back();
            after_fallthrough = text.find("(fallthrough)") != std::string::npos;
            continue;
        }
        after_fallthrough = false;
        if (std::regex_match(text, m, row)) {
            std::string count = m[1].str();
            line = std::stoi(m[2].str());
            if (line == 0 || count == "-" || counts->count(line)) continue;
            while (!count.empty() && count.back() == '*') count.pop_back();
            (*counts)[line] = (count == "#####" || count == "=====") ? 0 : std::stoll(count);
        }
    }
}

struct Corpus {
    std::string name;                 // file in the corpus folder
    std::string compiler;             // g++ or gcc
    std::vector<std::string> flags;
    std::string gcov_flags;           // for the --coverage build only
    // The least share (percent) of lines with branches that both count alike
    // in number: gcov adds outcomes of its own where C++ calls may throw.
    int branch_lines_compared = 60;
};

ProcessResult shell(const std::string& command) { return run_process({"sh", "-c", command}, true); }

struct Runs {
    std::string folder, source;
    std::map<int, long long> gcov, mirt;
    std::map<int, std::vector<long long>> gcov_branches, mirt_branches;  // by line
    std::set<int> probed;
    std::vector<std::string> text;
};

// Builds and runs both ways; fills in the counts of both.
void build_and_run(const Corpus& c, const std::string& style, Runs* r) {
    r->folder = mirt_test::make_temp_folder("mirt-corpus");
    r->source = r->folder + "/" + c.name;
    mirt_test::write_file(r->source, mirt_test::read_file(std::string(MIRT_CORPUS) + "/" + c.name));
    r->text = mirt_test::lines_of(mirt_test::read_file(r->source));
    std::string flags;
    for (const std::string& f : c.flags) flags += " " + f;
    const std::string gcc = "cd " + r->folder + " && " + c.compiler + " --coverage" + flags;
    ProcessResult plain = shell(gcc + " " + c.gcov_flags + " -O0 -c " + c.name + " -o plain.o && " + gcc +
                                " plain.o -o plain");
    ASSERT_EQ(plain.exit_code, 0) << plain.err;
    // mirt-cc's compile and link, then mirt-instrument's list of probed lines and its map.
    std::vector<std::string> cc = {kMirtCc, "--mirt-style=" + style, c.compiler, "-O0"},
                             list = {kInstrument, "--style=" + style, "--lines", "--map", r->folder + "/map",
                                     r->source, "--", c.compiler};
    for (auto* command : {&cc, &list}) command->insert(command->end(), c.flags.begin(), c.flags.end());
    list.insert(list.end(), {"-c", r->source});
    std::vector<std::string> compile = cc, link = cc;
    compile.insert(compile.end(), {"-c", r->source, "-o", r->folder + "/inst.o"});
    link.insert(link.end(), {r->folder + "/inst.o", "-o", r->folder + "/inst"});
    ProcessResult built = run_process(compile, true);
    ASSERT_EQ(built.exit_code, 0) << built.err;
    EXPECT_EQ(built.err, "") << "mirt-cc passed the source through";
    ProcessResult linked = run_process(link, true);
    ASSERT_EQ(linked.exit_code, 0) << linked.err;

    mirt_test::RunResult a = mirt_test::run_program(r->folder + "/plain", {}, {}, r->folder);
    mirt_test::remove_file(kExitFile);
    mirt_test::remove_file(kIndexFile);
    mirt_test::RunResult b = mirt_test::run_program(r->folder + "/inst", {}, {}, r->folder);
    EXPECT_EQ(b.output, a.output) << "the instrumented program behaves as the plain one";
    EXPECT_EQ(b.exit_code, a.exit_code);
    ASSERT_TRUE(mirt_test::file_exists(kExitFile)) << "the runtime wrote its exit output";
    // Read at once: the exit file is one for the whole machine.
    mirt_report::CoverageSet set;
    std::vector<mirt_report::Diagnostic> diagnostics;
    ASSERT_TRUE(mirt_report::load_coverage({kExitFile}, {}, set, diagnostics));

    ProcessResult gcov = shell("cd " + r->folder + " && gcov -b -c -o plain.o " + c.name);
    ASSERT_EQ(gcov.exit_code, 0) << gcov.err;
    read_gcov(r->source + ".gcov", &r->gcov, &r->gcov_branches);

    ProcessResult lines = run_process(list, true);
    ASSERT_EQ(lines.exit_code, 0) << lines.err;
    for (const std::string& l : mirt_test::lines_of(lines.out)) r->probed.insert(std::stoi(l.substr(l.rfind(':') + 1)));
    // The counts that the map gives from other lines' (a line that counts
    // what another counts, a loop's condition, branch outcomes), as the
    // report derives them; every outcome that the map lists (0 when it never ran).
    mirt_report::LineMap map;
    ASSERT_TRUE(mirt_report::load_line_maps({r->folder + "/map"}, map, diagnostics));
    set.for_each_test(mirt_report::separate_branch_tables);
    EXPECT_TRUE(mirt_report::derive_counts(set, map).empty());
    mirt_report::TestCase counted = set.combined("all");
    for (auto [line, count] : counted.files[r->source])
        if (count > 0) r->mirt[line] = count;
    ASSERT_NE(map.find(r->source), nullptr);
    for (const auto& [id, branch] : map.find(r->source)->branches)
        r->mirt_branches[branch.line].push_back(counted.branches[r->source][id]);
}

// The reason written on a corpus line after "gcov:" (table and line styles)
// or "function style:", or empty.
std::string mark_of(const std::string& line, const std::string& style) {
    std::string key = style == "function" ? "function style: " : "gcov: ";
    size_t at = line.find(key);
    if (at == std::string::npos) return "";
    std::string why = line.substr(at + key.size());
    size_t other = why.find(style == "function" ? " gcov: " : " function style: ");
    return other == std::string::npos ? why : why.substr(0, other);
}

// Compares the two runs; returns the runtime's counts (empty after a failed build).
std::map<int, long long> compare(const Corpus& c, const std::string& style) {
    Runs r;
    build_and_run(c, style, &r);
    if (::testing::Test::HasFatalFailure()) return {};
    size_t compared = 0;
    for (const auto& entry : r.mirt)
        EXPECT_TRUE(r.probed.count(entry.first)) << "line " << entry.first << " counted but never probed";
    // A line that gcov ran is probed, unless it holds no more than braces
    // (the function style probes functions only).
    for (const auto& [line, count] : r.gcov) {
        if (style == "function") break;
        const std::string& text = r.text[static_cast<size_t>(line - 1)];
        size_t code = text.find_first_not_of(" \t{}();");
        bool has_code = code != std::string::npos && text.compare(code, 2, "//") != 0;
        if (count > 0 && !r.probed.count(line) && mark_of(text, style).empty()) {
            EXPECT_FALSE(has_code) << c.name << ":" << line << " ran but has no probe: " << text;
        }
    }
    for (int line : r.probed) {
        auto g = r.gcov.find(line);
        if (g == r.gcov.end()) continue;  // gcov sees no code on this line
        long long ours = r.mirt.count(line) ? r.mirt.at(line) : 0;
        const std::string& text = r.text[static_cast<size_t>(line - 1)];
        std::string why = mark_of(text, style);
        if (!why.empty()) {
            EXPECT_NE(ours, g->second) << c.name << ":" << line << " is marked but agrees now: " << text;
            std::printf("%s:%d differs from gcov (%lld against %lld): %s\n", c.name.c_str(), line, ours, g->second,
                        why.c_str());
            continue;
        }
        EXPECT_EQ(ours, g->second) << c.name << ":" << line << ": " << text;
        ++compared;
    }
    // The comparison covers most of what is probed, and most of it ran.
    EXPECT_GE(compared * 10, r.probed.size() * 8) << compared << " of " << r.probed.size();
    EXPECT_GE(r.mirt.size() * 10, r.probed.size() * 8);

    // Branches: where both count the same number of outcomes on a line, the
    // same counts (gcov numbers outcomes by the code it made, so the order
    // can differ). Exceptions and calls give gcov outcomes of its own.
    if (style != "function") {
        size_t lines_compared = 0;
        for (auto [line, ours] : r.mirt_branches) {
            auto g = r.gcov_branches.find(line);
            if (g == r.gcov_branches.end() || g->second.size() != ours.size()) continue;
            std::vector<long long> theirs = g->second;
            std::sort(ours.begin(), ours.end());
            std::sort(theirs.begin(), theirs.end());
            EXPECT_EQ(ours, theirs) << c.name << ":" << line << " branches: " << r.text[static_cast<size_t>(line - 1)];
            ++lines_compared;
        }
        EXPECT_GE(lines_compared * 100, r.mirt_branches.size() * static_cast<size_t>(c.branch_lines_compared))
            << lines_compared << " of " << r.mirt_branches.size() << " lines with branches compared";
    }
    mirt_test::remove_tree(r.folder);
    return r.mirt;
}

const Corpus kControl{"control.cpp", "g++", {"-std=c++20"}, "", 60};
const Corpus kClasses{"classes.cpp", "g++", {"-std=c++20"}, "", 30};
const Corpus kPlainC{"plain.c", "gcc", {"-std=gnu11"}, "", 60};
// gcov's own counters are exact under threads only when updated atomically.
const Corpus kThreads{"threads.cpp", "g++", {"-pthread", "-std=c++11"}, "-fprofile-update=atomic", 50};

}  // namespace

TEST(GcovComparison, ControlFlowTableStyle) { compare(kControl, "table"); }
TEST(GcovComparison, ControlFlowLineStyle) { compare(kControl, "line"); }
TEST(GcovComparison, ClassesTemplatesLambdasExceptions) { compare(kClasses, "table"); }
TEST(GcovComparison, PlainC) { compare(kPlainC, "table"); }
TEST(GcovComparison, PlainCLineStyle) { compare(kPlainC, "line"); }
TEST(GcovComparison, FunctionStyleCountsCalls) { compare(kClasses, "function"); }

// And the loop body really ran on twelve threads at once, counted exactly by
// both styles that promise it.
TEST(GcovComparison, LineAndAtomicStylesAreExactUnderThreads) {
    for (const char* style : {"line", "atomic"}) {
        std::map<int, long long> counts = compare(kThreads, style);
        EXPECT_EQ(counts[14], 4800000) << style;
        EXPECT_EQ(counts[13], 4800024) << style;
        EXPECT_EQ(counts[9], 4800000) << style;
    }
}
