// Where probes go in real sources, and that the instrumented copies compile.
//
// Each snippet marks with //+ exactly the lines that must be counted.
#include <gtest/gtest.h>

#include <set>
#include <sstream>

#include "instrumenter.h"
#include "subprocess.h"
#include "test_support.h"

using namespace mirt_instrument;

namespace {

std::string snippet(const std::string& name) { return std::string(MIRT_SNIPPETS) + "/" + name; }

// Probes in the source only: its copy is compiled alone, beside the original headers.
SiteOptions in_source_only(ProbeStyle style) {
    SiteOptions site;
    site.style = style;
    site.headers = false;
    return site;
}

std::vector<int> marked_lines(const std::string& path) {
    std::istringstream in(mirt_test::read_file(path));
    std::vector<int> lines;
    std::string line;
    for (int n = 1; std::getline(in, line); ++n)
        if ((line.size() >= 3 && line.compare(line.size() - 3, 3, "//+") == 0) ||
            (line.size() >= 5 && line.compare(line.size() - 5, 5, "/*+*/") == 0))
            lines.push_back(n);
    return lines;
}

struct Instrumented {
    InstrumentResult result;
    std::vector<std::string> command;
};

Instrumented instrument(const std::string& name, const std::vector<std::string>& flags, ProbeStyle style) {
    std::string path = snippet(name);
    Language lang = language_of_name(path);
    std::vector<std::string> command = {lang == Language::c ? "gcc" : "g++"};
    command.insert(command.end(), flags.begin(), flags.end());
    command.insert(command.end(), {"-c", path});
    CompileCommand cmd = parse_compile_command(command);
    return {instrument_source(path, lang, clang_arguments_for(cmd, lang), in_source_only(style)), command};
}

// Compiles the copy with the original's flags and every warning an error:
// probes must neither break the build nor add a warning.
void expect_copy_compiles(const Instrumented& in, const std::string& name, const std::string& tag) {
    std::string folder = mirt_test::make_temp_folder("mirt-placement");
    std::string copy = folder + "/" + name;
    mirt_test::write_file(copy, in.result.text);
    std::vector<std::string> argv = {in.command[0], "-Wall", "-Wextra", "-Wshadow", "-Werror", "-fsyntax-only",
                                     "-iquote", MIRT_SNIPPETS};
    for (size_t i = 1; i + 2 < in.command.size(); ++i) argv.push_back(in.command[i]);
    argv.push_back(copy);
    ProcessResult r = run_process(argv, true);
    EXPECT_EQ(r.exit_code, 0) << tag << ": " << r.err;
    mirt_test::remove_tree(folder);
}

size_t occurrences(const std::string& text, const std::string& what) {
    size_t n = 0;
    for (size_t pos = text.find(what); pos != std::string::npos; pos = text.find(what, pos + 1)) ++n;
    return n;
}

void check_snippet(const std::string& name, const std::vector<std::string>& flags) {
    std::vector<int> marked = marked_lines(snippet(name));
    for (ProbeStyle style : {ProbeStyle::table, ProbeStyle::atomic, ProbeStyle::line, ProbeStyle::function}) {
        Instrumented in = instrument(name, flags, style);
        ASSERT_TRUE(in.result.parsed) << style_name(style) << ": " << in.result.problem;
        // Every style but function (which counts function entries) counts the marked lines.
        if (style != ProbeStyle::function) {
            EXPECT_EQ(in.result.lines, marked) << style_name(style);
        }
        expect_copy_compiles(in, name, style_name(style));
    }
}

}  // namespace

TEST(Placement, CxxStatementForms) { check_snippet("statements.cpp", {"-std=c++17"}); }

TEST(Placement, CFileCompiledAsC) { check_snippet("plain.c", {"-std=c11"}); }

TEST(Placement, ConstevalAndUnevaluatedOperands) { check_snippet("cpp20.cpp", {"-std=c++20"}); }

TEST(Placement, PragmaKeepsItsLoop) { check_snippet("pragmas.cpp", {"-std=c++17"}); }

TEST(Placement, PartsOfStatementsOnLinesOfTheirOwn) { check_snippet("continuations.cpp", {"-std=c++17"}); }

TEST(Placement, StrictC89TakesDeclarationProbes) {
    check_snippet("strict.c", {"-std=c89", "-pedantic", "-Wdeclaration-after-statement", "-Wunused-macros"});
}

TEST(Placement, TemplatesAndConstexprGetOneGuardedSetOfProbes) {
    Instrumented in = instrument("statements.cpp", {"-std=c++17"}, ProbeStyle::table);
    ASSERT_TRUE(in.result.parsed);
    // The template's body is written once, whatever its instantiations.
    EXPECT_EQ(occurrences(in.result.text, "; return x + x;"), 1u);
    EXPECT_NE(in.result.text.find("if (!__builtin_is_constant_evaluated()) ++mirt_counters_["), std::string::npos);
    // The macro's own statements stay as they were; its use is counted before it.
    EXPECT_NE(in.result.text.find("#define CHECK(x) do { if (!(x)) throw std::runtime_error(#x); } while (0)"),
              std::string::npos);
    Instrumented fn = instrument("statements.cpp", {"-std=c++17"}, ProbeStyle::function);
    EXPECT_EQ(occurrences(fn.result.text, "mirt_obj mirt_scope"), 13u)
        << "one scope per function, lambda and member; none in the constexpr function";
}

TEST(Placement, UnparsableSourcePassesThroughUnchanged) {
    Instrumented in = instrument("nested_function.c", {}, ProbeStyle::table);
    EXPECT_FALSE(in.result.parsed);
    EXPECT_EQ(in.result.text, mirt_test::read_file(snippet("nested_function.c")));
    EXPECT_NE(in.result.problem.find("nested_function.c:3"), std::string::npos) << in.result.problem;
    EXPECT_TRUE(in.result.lines.empty());
}

TEST(Placement, CrossCompilerHeadersParse) {
    // The mingw-w64 compiler's headers (windows.h among them) through Clang.
    std::string folder = mirt_test::make_temp_folder("mirt-placement");
    std::string path = folder + "/win.cpp";
    mirt_test::write_file(path,
                          "#include <windows.h>\n#include <thread>\n#include <mutex>\nstatic std::mutex m;\n"
                          "int main() {\n  std::lock_guard<std::mutex> g(m);\n  return GetCurrentProcessId() ? 0 : 1;\n}\n");
    CompileCommand cmd = parse_compile_command({"x86_64-w64-mingw32-g++-posix", "-c", path});
    InstrumentResult r = instrument_source(path, Language::cplusplus,
                                           clang_arguments_for(cmd, Language::cplusplus), in_source_only(ProbeStyle::table));
    EXPECT_TRUE(r.parsed) << r.problem;
    EXPECT_EQ(r.lines, (std::vector<int>{5, 6, 7}));
    mirt_test::remove_tree(folder);
}

// Built-ins that GCC knows and Clang 14 does not: the parse goes on (C) or is
// made again with them declared (C++), and the file gets its probes.
TEST(Placement, GccOnlyBuiltinsStillGetProbes) {
    std::string folder = mirt_test::make_temp_folder("mirt-placement");
    for (const char* name : {"b.c", "b.cpp"}) {
        std::string path = folder + "/" + name;
        mirt_test::write_file(path, "void f(int x) {\n    if (x)\n        __builtin_exit(1);\n}\n");
        Language lang = language_of_name(path);
        CompileCommand cmd = parse_compile_command({lang == Language::c ? "gcc" : "g++", "-c", path});
        InstrumentResult r = instrument_source(path, lang, clang_arguments_for(cmd, lang),
                                               in_source_only(ProbeStyle::table));
        EXPECT_TRUE(r.parsed) << name << ": " << r.problem;
        EXPECT_EQ(r.lines, (std::vector<int>{1, 2, 3})) << name;
    }
    mirt_test::remove_tree(folder);
}
