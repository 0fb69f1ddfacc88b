// Where probes go in real sources, and that the instrumented copies compile.
//
// Each corpus file marks with //+ (/*+*/ in C89) exactly the lines that must be counted.
#include <gtest/gtest.h>
#include <set>

#include "tools/instrument/instrumenter.h"
#include "tools/instrument/subprocess.h"
#include "tests/support/test_support.h"

using namespace mirt_instrument;

namespace {

std::string corpus(const std::string& name) { return std::string(MIRT_CORPUS) + "/" + name; }

std::vector<int> marked_lines(const std::string& path) {
    std::vector<int> marked;
    std::vector<std::string> lines = mirt_test::lines_of(mirt_test::read_file(path));
    for (size_t n = 0; n < lines.size(); ++n)
        if (lines[n].find("//+") != std::string::npos || lines[n].find("/*+*/") != std::string::npos)
            marked.push_back(static_cast<int>(n + 1));
    return marked;
}

struct Instrumented {
    InstrumentResult result;
    std::vector<std::string> command;
};

// Instruments the file at path as the compiler and flags of command would compile it, with
// probes in the source only: its copy is compiled alone, beside the original headers.
Instrumented instrument_file(const std::string& path, std::vector<std::string> command, ProbeStyle style) {
    Language lang = language_of_name(path);
    command.insert(command.end(), {"-c", path});
    SiteOptions site;
    site.style = style;
    site.headers = false;
    return {instrument_source(path, lang, clang_arguments_for(parse_compile_command(command), lang), site), command};
}

Instrumented instrument(const std::string& name, const std::vector<std::string>& flags, ProbeStyle style) {
    std::vector<std::string> command = {language_of_name(name) == Language::c ? "gcc" : "g++"};
    command.insert(command.end(), flags.begin(), flags.end());
    return instrument_file(corpus(name), command, style);
}

// Compiles the copy with the original's flags and every warning an error:
// probes must neither break the build nor add a warning.
void expect_copy_compiles(const Instrumented& in, const std::string& name, const std::string& tag) {
    std::string folder = mirt_test::make_temp_folder("mirt-placement");
    std::string copy = folder + "/" + name;
    mirt_test::write_file(copy, in.result.text);
    std::vector<std::string> argv = {in.command[0], "-Wall", "-Wextra", "-Wshadow", "-Werror", "-S", "-o", "/dev/null",
                                     "-iquote", MIRT_CORPUS};
    argv.insert(argv.end(), in.command.begin() + 1, in.command.end() - 2);
    argv.push_back(copy);
    ProcessResult r = run_process(argv, true);
    EXPECT_EQ(r.exit_code, 0) << tag << ": " << r.err;
    mirt_test::remove_tree(folder);
}

// Instruments text, written as a file of that name, for compiler and flags.
InstrumentResult instrument_text(const std::string& name, const std::string& text,
                                 const std::vector<std::string>& command) {
    std::string folder = mirt_test::make_temp_folder("mirt-placement");
    mirt_test::write_file(folder + "/" + name, text);
    InstrumentResult r = instrument_file(folder + "/" + name, command, ProbeStyle::table).result;
    mirt_test::remove_tree(folder);
    return r;
}

void check_file(const std::string& name, const std::vector<std::string>& flags) {
    std::vector<int> marked = marked_lines(corpus(name));
    for (ProbeStyle style : {ProbeStyle::table, ProbeStyle::atomic, ProbeStyle::line, ProbeStyle::function}) {
        Instrumented in = instrument(name, flags, style);
        ASSERT_TRUE(in.result.parsed) << style_name(style) << ": " << in.result.problem;
        // Every style but function (which counts function entries) counts the
        // marked lines, some through the line map's aliases.
        if (style != ProbeStyle::function) {
            std::set<int> counted(in.result.lines.begin(), in.result.lines.end());
            for (const LineAlias& a : in.result.aliases) counted.insert(a.line);
            EXPECT_EQ(std::vector<int>(counted.begin(), counted.end()), marked) << style_name(style);
        }
        expect_copy_compiles(in, name, style_name(style));
    }
}

}  // namespace

TEST(Placement, StatementForms) { check_file("control.cpp", {"-std=c++20"}); }

TEST(Placement, ClassesAndPartsOfStatements) { check_file("classes.cpp", {"-std=c++20"}); }

TEST(Placement, CFileCompiledAsC) { check_file("plain.c", {"-std=gnu11"}); }

TEST(Placement, StrictC89AndCxx98KeepToTheirStandard) {
    check_file("strict.c",
               {"-std=c89", "-pedantic", "-Wdeclaration-after-statement", "-Wunused-macros"});
    check_file("strict98.cpp", {"-std=c++98", "-pedantic"});
}

// A guard that probes in constexpr functions need, the one text of a template
// and macros left alone show in the copies that compile and in gcov's counts.
TEST(Placement, FunctionStyleScopesEveryFunctionThatRuns) {
    const std::string text = instrument("classes.cpp", {"-std=c++20"}, ProbeStyle::function).result.text;
    const std::string scope = "mirt_obj mirt_scope";
    size_t scopes = 0;
    for (size_t at = text.find(scope); at != std::string::npos; at = text.find(scope, at + 1)) ++scopes;
    EXPECT_EQ(scopes, 37u) << "one scope per function, lambda, member, function that a macro defines and destructor "
                              "defaulted outside its class; none in the constexpr or consteval function, nor in the "
                              "templates that no code made here instantiates";
}

TEST(Placement, UnparsableSourcePassesThroughUnchanged) {
    Instrumented in = instrument("nested_function.c", {}, ProbeStyle::table);
    EXPECT_FALSE(in.result.parsed);
    EXPECT_EQ(in.result.text, mirt_test::read_file(corpus("nested_function.c")));
    EXPECT_NE(in.result.problem.find("nested_function.c:3"), std::string::npos) << in.result.problem;
    EXPECT_TRUE(in.result.lines.empty());
}

// The mingw-w64 compiler's headers (windows.h among them) through Clang; and
// built-ins that GCC knows and Clang 14 does not: the parse goes on (C) or is
// made again with them declared (C++), and the file gets its probes.
TEST(Placement, CrossCompilerHeadersAndGccOnlyBuiltinsParse) {
    InstrumentResult win = instrument_text(
        "win.cpp",
        "#include <windows.h>\n#include <thread>\n#include <mutex>\nstatic std::mutex m;\n"
        "int main() {\n  std::lock_guard<std::mutex> g(m);\n"
        "  return GetCurrentProcessId() ? 0 : 1;\n}\n",
        {"x86_64-w64-mingw32-g++-posix"});
    EXPECT_TRUE(win.parsed) << win.problem;
    EXPECT_EQ(win.lines, (std::vector<int>{5, 6, 7}));
    const std::string exits = "void f(int x) {\n    if (x)\n        __builtin_exit(1);\n}\n";
    for (const char* name : {"b.c", "b.cpp"}) {
        std::string compiler = std::string(name) == "b.c" ? "gcc" : "g++";
        InstrumentResult r = instrument_text(name, exits, {compiler});
        EXPECT_TRUE(r.parsed) << name << ": " << r.problem;
        EXPECT_EQ(r.lines, (std::vector<int>{1, 2, 3})) << name;
    }
}

// Every kind of decision gets its outcomes, numbered by line and place.
TEST(Placement, BranchOutcomesOfEveryDecision) {
    InstrumentResult r = instrument_text("b.cpp",
                                         "int f(int x, bool a, bool b) {\n"      // 1
                                         "    if (x > 0) x = 1;\n"               // 2
                                         "    while (x < 9) ++x;\n"              // 3
                                         "    do --x; while (x > 5);\n"          // 4
                                         "    for (int i = 0; i < x; ++i) {}\n"  // 5
                                         "    if (a && !(b || x)) x = 2;\n"      // 6
                                         "    x = a ? 3 : 4;\n"                  // 7
                                         "    switch (x) {\n"                    // 8
                                         "    case 3: return 1;\n"
                                         "    default: return 0;\n"
                                         "    }\n"
                                         "    if constexpr (sizeof(int) > 2) return 5;\n"
                                         "}\n",
                                         {"g++", "-std=c++17"});
    ASSERT_TRUE(r.parsed) << r.problem;
    std::vector<std::string> got;
    for (const BranchOutcome& b : r.branches)
        got.push_back(std::to_string(b.id) + " " + std::to_string(b.decision) + "." + std::to_string(b.outcome) + " " +
                      b.text);
    EXPECT_EQ(got, (std::vector<std::string>{
                       "200 0.0 if true", "201 0.1 if false", "300 0.0 while true", "301 0.1 while false",
                       "400 0.0 do true", "401 0.1 do false", "500 0.0 for true", "501 0.1 for false",
                       "600 0.0 && true", "601 0.1 && false", "602 1.0 || true", "603 1.1 || false",
                       "604 2.0 || true", "605 2.1 || false", "700 0.0 ?: true", "701 0.1 ?: false",
                       "800 0.0 switch case 3", "801 0.1 switch default"}));
}

// Straight code counts once: a line that control reaches only from the line
// before it, with nothing between them that may throw, jump, end the process
// or is jumped to, takes that line's count from the map. A call of a
// function that only computes and returns, and an if or switch of such code,
// keep the run going; a call of anything else, a label, a loop or an object
// made by a constructor defined elsewhere end it.
TEST(Placement, StraightCodeTakesItsCountFromTheLineBefore) {
    InstrumentResult r = instrument_text("s.cpp",
                                         "#define STEP(v) v += 1\n"                   // 1
                                         "int g(int);\n"                              // 2
                                         "struct S { S(); int n = 0; };\n"            // 3
                                         "static int twice(int v) { return v * 2; }\n" // 4
                                         "int f(int x) {\n"                           // 5  entry
                                         "    int a = x + 1;\n"                       // 6  from 5
                                         "    STEP(a);\n"                             // 7  from 5
                                         "    a += g(a);\n"                           // 8  from 5
                                         "    a -= twice(1);\n"                       // 9  after a call of g
                                         "    switch (a) {\n"                         // 10 from 9
                                         "    case 1:\n"                              // 11 a label
                                         "        a = 2;\n"                           // 12 from 11
                                         "        break;\n"                           // 13 from 11
                                         "    }\n"
                                         "    S s;\n"                                 // 15 from 9
                                         "    a += s.n;\n"                            // 16 after S's constructor
                                         "    while (a > 9) a /= 2;\n"                // 17 a loop's condition
                                         "    return a;\n"                            // 18 after a loop
                                         "}\n"
                                         "template <class T> T h(T t) {\n"            // 20 entry
                                         "    t = t + t;\n"                           // 21 from 20
                                         "    return t;\n"                            // 22 after code that may call
                                         "}\n"
                                         "int k = h(2);\n",
                                         {"g++", "-std=c++17"});
    ASSERT_TRUE(r.parsed) << r.problem;
    std::vector<std::pair<int, int>> same;
    for (const LineAlias& a : r.aliases) same.push_back({a.line, a.same_as});
    EXPECT_EQ(same, (std::vector<std::pair<int, int>>{
                        {6, 5}, {7, 5}, {8, 5}, {10, 9}, {12, 11}, {13, 11}, {15, 9}, {21, 20}}));
    EXPECT_EQ(r.lines, (std::vector<int>{4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 15, 16, 17, 18, 20, 21, 22}))
        << "the map lists every counted line, those without a counter of their own too";
}

// The last operand of a condition decides it one way ("a && b" true, "a ||
// b" false where b is): that outcome comes from the lines, as the whole
// condition's would (the then branch's entries; the loop's evaluations less
// its entries). A loop's evaluations come from its arrivals and rounds.
TEST(Placement, OutcomesAndLoopConditionsComeFromTheLines) {
    InstrumentResult r = instrument_text("l.cpp",
                                         "int f(int x, bool a, bool b) {\n"  // 1
                                         "    if (a && b)\n"                 // 2
                                         "        x = 1;\n"                  // 3
                                         "    else\n"
                                         "        x = 2;\n"                  // 5
                                         "    while (x < 9 || b)\n"          // 6
                                         "        ++x;\n"                    // 7
                                         "    return x;\n"
                                         "}\n",
                                         {"g++", "-std=c++17"});
    ASSERT_TRUE(r.parsed) << r.problem;
    std::vector<std::string> derived;
    for (const BranchOutcome& b : r.branches)
        if (!b.counted())
            derived.push_back(b.text + " " + std::to_string(b.id) + " = " + std::to_string(b.from_line) + " - " +
                              std::to_string(b.less_line));
    EXPECT_EQ(derived, (std::vector<std::string>{"&& true 202 = 3 - 0", "|| false 603 = 6 - 7"}));
    // The loop's condition runs at each arrival (the if before it leaves at
    // its end: the function's entry counts them) and after each round.
    std::vector<std::string> sums;
    for (const LineAlias& a : r.aliases)
        if (a.plus != 0) sums.push_back(std::to_string(a.line) + " = " + std::to_string(a.same_as) + " + " + std::to_string(a.plus));
    EXPECT_EQ(sums, (std::vector<std::string>{"6 = 1 + 7"}));
}
