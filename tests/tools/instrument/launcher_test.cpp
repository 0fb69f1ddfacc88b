// mirt-cc in front of real compilers: programs build, run and behave as
// their plain builds do; what cannot be instrumented still builds.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <fstream>

#include "tools/instrument/subprocess.h"
#include "tests/support/contains.h"
#include "tests/support/test_support.h"

using mirt_instrument::ProcessResult;
using mirt_instrument::run_process;
using mirt_test::contains;

namespace {

const std::string kApp = std::string(MIRT_PROGRAMS) + "/app";
const std::string kMirtCc = MIRT_MIRT_CC;
const std::string kExitFile = "/tmp/mirt_exit.out";

ProcessResult run(const std::vector<std::string>& argv) { return run_process(argv, true); }
ProcessResult cc(std::vector<std::string> argv) {
    argv.insert(argv.begin(), kMirtCc);
    return run(argv);
}

// Compiles main.cpp and util.c one by one (with a dependency file, as CMake
// does) in folder and links them into folder/app, the launcher in front when given.
bool build_app(const std::vector<std::string>& launcher, const std::string& cc, const std::string& cxx,
               const std::string& folder, std::string* log, const std::vector<std::string>& link_extra = {}) {
    auto step = [&](std::vector<std::string> argv) {
        argv.insert(argv.begin(), launcher.begin(), launcher.end());
        ProcessResult r = run(argv);
        *log += r.out + r.err;
        return r.exit_code == 0;
    };
    std::vector<std::string> link = {cxx, folder + "/main.o", folder + "/util.o", "-o", folder + "/app"};
    link.insert(link.end(), link_extra.begin(), link_extra.end());
    return step({cxx, "-O1", "-MD", "-MT", "main.o", "-MF", folder + "/main.o.d", "-c", kApp + "/main.cpp", "-o",
                 folder + "/main.o"}) &&
           step({cc, "-O1", "-c", kApp + "/util.c", "-o", folder + "/util.o"}) && step(link);
}

// An exit output after its two header lines, which name the process.
std::string counts_of(const std::string& output) {
    return output.substr(output.find('\n', output.find('\n') + 1) + 1);
}

// The app built plain and through mirt-cc runs alike; both objects carry
// probes, the link added the runtime, the dependency file names the source
// the build knows. Gives the plain run and the counts of the instrumented
// run's exit output.
void check_like_plain(const std::string& cc, const std::string& cxx, ProcessResult* plain = nullptr,
                      std::string* counts = nullptr) {
    std::string plain_dir = mirt_test::make_temp_folder("mirt-cc-plain");
    std::string inst_dir = mirt_test::make_temp_folder("mirt-cc-inst");
    std::string log;
    ASSERT_TRUE(build_app({}, cc, cxx, plain_dir, &log)) << log;
    ASSERT_TRUE(build_app({kMirtCc}, cc, cxx, inst_dir, &log)) << log;
    EXPECT_EQ(log, "") << "no warning for sources that instrument cleanly";

    ProcessResult a = run({plain_dir + "/app", "30"});
    mirt_test::remove_file(kExitFile);
    ProcessResult b = run({inst_dir + "/app", "30"});
    EXPECT_EQ(b.out, a.out) << "__FILE__ and __LINE__ (printed) name the original too";
    EXPECT_EQ(b.exit_code, a.exit_code);
    std::string exit_output = mirt_test::read_file(kExitFile);
    EXPECT_TRUE(contains(exit_output, "### main.cpp\n") && contains(exit_output, "### util.c\n")) << exit_output;
    if (plain) *plain = a;
    if (counts) *counts = counts_of(exit_output);

    for (const char* obj : {"/main.o", "/util.o"})
        EXPECT_TRUE(contains(run({"nm", "-u", inst_dir + obj}).out, "c_mirt_reg2"));
    EXPECT_TRUE(contains(run({"readelf", "-d", inst_dir + "/app"}).out, "libmirt64.so"));
    std::string deps = mirt_test::read_file(inst_dir + "/main.o.d");
    EXPECT_TRUE(contains(deps, kApp + "/main.cpp") && contains(deps, kApp + "/util.h"));
    EXPECT_FALSE(contains(deps, "/mirt-cc-"));
    mirt_test::remove_tree(plain_dir);
    mirt_test::remove_tree(inst_dir);
}

}  // namespace

// Built by Clang and by GCC. And a Windows build through mirt-cc (in the
// atomic style: per-thread tables) runs under Wine as the plain one does,
// counting the same lines the same number of times as the native build (table style).
TEST(Launcher, ClangAndGccBuildsBehaveAsPlainOnesOnBothSystems) {
    check_like_plain("clang", "clang++");
    ProcessResult plain;
    std::string native_counts;
    check_like_plain("gcc", "g++", &plain, &native_counts);
    const std::string dll = std::string(MIRT_WINDOWS_LIB_DIR) + "/../bin/mirt64.dll";
    if (!mirt_test::file_exists(std::string(MIRT_WINDOWS_LIB_DIR) + "/mirt64.lib") ||
        !mirt_test::file_exists(dll) || !mirt_test::file_exists("/usr/lib/wine/wine64"))
        GTEST_SKIP() << "no Windows build of the runtime beside this one, or no Wine";
    std::string dir = mirt_test::make_temp_folder("mirt-cc-windows"), log;
    ASSERT_TRUE(build_app({kMirtCc, "--mirt-style=atomic"}, "x86_64-w64-mingw32-gcc-posix",
                          "x86_64-w64-mingw32-g++-posix", dir, &log, {"-static"})) << log;
    EXPECT_EQ(log, "");
    EXPECT_TRUE(contains(run({"x86_64-w64-mingw32-nm", "-u", dir + "/main.o"}).out, "c_mirt_reg2"));
    EXPECT_TRUE(contains(mirt_test::read_file(dir + "/main.o.mirtmap"), "\nfunction 9 20 main(int, char **)\n"));
    ASSERT_EQ(run({"cp", dll, dir + "/mirt64.dll"}).exit_code, 0);

    const std::string windows_exit = std::string(MIRT_WINEPREFIX) + "/drive_c/temp/mirt_exit.out";
    mirt_test::remove_file(windows_exit);
    const std::string prefix = "WINEPREFIX=" + std::string(MIRT_WINEPREFIX);
    const std::string quiet = "WINEDLLOVERRIDES=mscoree,mshtml=;winemenubuilder.exe=d";
    ProcessResult b = run({"env", prefix, "WINEDEBUG=-all", quiet, "/usr/lib/wine/wine64", dir + "/app.exe", "30"});
    std::string out;
    for (char c : b.out)
        if (c != '\r') out += c;
    EXPECT_EQ(out, plain.out) << b.err;
    EXPECT_EQ(b.exit_code, plain.exit_code);
    EXPECT_EQ(counts_of(mirt_test::read_file(windows_exit)), native_counts);
    mirt_test::remove_tree(dir);
}

// What cannot be instrumented still builds: a source Clang cannot parse with
// one warning, a copy that does not compile from the original; a real error
// and the compiler's warnings name the original file, never the copy.
TEST(Launcher, WhatCannotBeInstrumentedStillBuilds) {
    std::string dir = mirt_test::make_temp_folder("mirt-cc-fallback");
    const std::string nested = std::string(MIRT_CORPUS) + "/nested_function.c";
    ProcessResult r = cc({"gcc", nested, "-o", dir + "/nested"});
    ASSERT_EQ(r.exit_code, 0) << r.err;
    EXPECT_TRUE(contains(r.err, "mirt-cc: warning: " + nested + " left without probes"));
    EXPECT_EQ(r.err.find("warning", r.err.find("warning") + 1), std::string::npos) << "one warning only: " << r.err;
    EXPECT_EQ(run({dir + "/nested"}).exit_code, 0);

    // A copy that does not compile (the source declares the probes' functions
    // again, which -Wredundant-decls -Werror rejects) gives way to the original,
    // and the line map says why.
    mirt_test::write_file(dir + "/own.c", "#include \"" + std::string(MIRT_INCLUDE_DIR) +
                                              "/mirt64.h\"\nint one(void) {\n    return 1;\n}\n");
    ProcessResult own = cc({"gcc", "-Wredundant-decls", "-Werror", "-c", dir + "/own.c", "-o", dir + "/own.o"});
    EXPECT_EQ(own.exit_code, 0) << own.err;
    EXPECT_TRUE(contains(own.err, "did not compile; compiling the original"));
    EXPECT_FALSE(contains(run({"nm", "-u", dir + "/own.o"}).out, "mirt"));
    EXPECT_TRUE(contains(mirt_test::read_file(dir + "/own.o.mirtmap"),
                         "\nunprobed its instrumented copy did not compile\n"));

    // MIRT_STRICT turns a source left without probes into a failed build.
    ProcessResult strict = run({"env", "MIRT_STRICT=1", kMirtCc, "gcc", "-c", nested, "-o", dir + "/n.o"});
    EXPECT_EQ(strict.exit_code, 3) << strict.err;
    EXPECT_TRUE(contains(strict.err, "nested_function.c would be built without probes (MIRT_STRICT is set)"));

    // A real error stays an error, reported by the real compiler.
    mirt_test::write_file(dir + "/bad.c", "int broken(void) { return missing; }\n");
    ProcessResult bad = cc({"gcc", "-c", dir + "/bad.c", "-o", dir + "/bad.o"});
    EXPECT_NE(bad.exit_code, 0);
    EXPECT_TRUE(contains(bad.err, "missing"));
    EXPECT_FALSE(mirt_test::file_exists(dir + "/bad.o"));

    // A folder name with a space and '#': the dependency file names the
    // original escaped as make reads it.
    mkdir((dir + "/a #b").c_str(), 0700);
    mirt_test::write_file(dir + "/a #b/x.c", "int x(void) { return 1; }\n");
    ProcessResult odd = cc({"gcc", "-MD", "-MF", dir + "/x.d", "-c", dir + "/a #b/x.c", "-o", dir + "/x.o"});
    EXPECT_EQ(odd.exit_code, 0) << odd.err;
    std::string odd_deps = mirt_test::read_file(dir + "/x.d");
    EXPECT_TRUE(contains(odd_deps, " " + dir + "/a\\ \\#b/x.c"));
    EXPECT_FALSE(contains(odd_deps, "/mirt-cc-"));

    mirt_test::write_file(dir + "/warn.cpp", "int f(int x) {\n    int unused = x;\n    return x;\n}\n");
    ProcessResult warn = cc({"g++", "-Wall", "-c", dir + "/warn.cpp", "-o", dir + "/warn.o"});
    EXPECT_EQ(warn.exit_code, 0) << warn.err;
    EXPECT_TRUE(contains(warn.err, dir + "/warn.cpp:2:") && contains(warn.err, "unused"));
    EXPECT_FALSE(contains(warn.err, "/mirt-cc-")) << "no trace of the copy's name";
    mirt_test::remove_tree(dir);
}

// The project's headers and included sources get probes under their own
// names: a header that two objects include shows once, with the counts of
// both; a template's lines count once. __FILE__ and the dependency files
// still name the originals.
TEST(Launcher, HeadersAndIncludedSourcesCountUnderTheirOwnNames) {
    std::string dir = mirt_test::make_temp_folder("mirt-cc-headers");
    for (const char* sub : {"/include", "/src", "/gen"}) mkdir((dir + sub).c_str(), 0700);
    mirt_test::write_file(dir + "/include/calc.h",
                          "#pragma once\ntemplate <typename T>\nT twice(T x) {\n    return x + x;\n}\n"
                          "inline const char* where() { return __FILE__; }\n");
    mirt_test::write_file(dir + "/src/helper.c", "static int helper(int x) {\n    return x - 1;\n}\n");
    // A header that the build folder makes includes one of the sources' own.
    mirt_test::write_file(dir + "/gen/all.h", "#include \"local.h\"\n");
    mirt_test::write_file(dir + "/src/local.h", "inline int local(int x) {\n    return x * 3;\n}\n");
    mirt_test::write_file(dir + "/src/one.cpp",
                          "#include \"calc.h\"\n#include \"helper.c\"\n#include \"all.h\"\n"
                          // g++ warns of such a class in a header, not in the source
                          "namespace { struct Base { int b = 0; }; }\nstruct Derived : Base {};\n"
                          "int one(int x) { return twice(x) + helper(x) + local(Derived().b); }\n");
    mirt_test::write_file(dir + "/src/main.cpp",
                          "#include <cstdio>\n#include <calc.h>\nint one(int);\nint main() {\n"
                          "    std::printf(\"%d %g %s\\n\", one(2), twice(1.5), where());\n}\n");
    auto in_dir = [&](const std::vector<std::string>& args) {
        return mirt_test::run_program(kMirtCc, args, {}, dir);
    };
    for (std::string n : {"one", "main"}) {
        mirt_test::RunResult r = in_dir({"g++", "-Iinclude", "-Igen", "-Isrc", "-MD", "-MF", n + ".o.d", "-c", "src/" + n + ".cpp", "-o",
                                         n + ".o"});
        ASSERT_EQ(r.exit_code, 0) << r.output;
        EXPECT_EQ(r.output, "");
        std::string deps = mirt_test::read_file(dir + "/" + n + ".o.d");
        EXPECT_TRUE(contains(deps, dir + "/include/calc.h"));
        EXPECT_FALSE(contains(deps, "/mirt-cc-"));
    }
    ASSERT_EQ(in_dir({"g++", "one.o", "main.o", "-o", "app"}).exit_code, 0);
    mirt_test::remove_file(kExitFile);
    EXPECT_EQ(mirt_test::run_program(dir + "/app", {}, {}, dir).output, "5 3 include/calc.h\n");

    std::string summary = run({MIRT_MIRT_REPORT, "--map", dir, "summary", kExitFile}).out;
    EXPECT_TRUE(contains(summary, "    include/calc.h: 3 of 3 lines hit (100.0%), 5 hits, 2 of 2 functions called\n"));
    EXPECT_TRUE(contains(summary, "    src/helper.c: 2 of 2 lines hit (100.0%), 2 hits, 1 of 1 function called\n"));
    EXPECT_TRUE(contains(summary, "    src/local.h: 2 of 2 lines hit (100.0%), 2 hits, 1 of 1 function called\n"))
        << summary;
    mirt_test::remove_tree(dir);
}

// Steps that make no object pass through as they are; mirt-cc's own usage,
// --help and --version need no compiler; a compiler that is not there is named.
TEST(Launcher, LeavesStepsWithoutObjectsAlone) {
    std::string src = kApp + "/util.c";
    ProcessResult via = cc({"gcc", "-E", src});
    EXPECT_EQ(via.exit_code, 0);
    EXPECT_EQ(via.out, run({"gcc", "-E", src}).out);
    EXPECT_EQ(cc({"gcc", "--version"}).out, run({"gcc", "--version"}).out);
    const struct {
        std::vector<std::string> args;
        int exit_code;
        std::string said;
    } cases[] = {
        {{"--mirt-style=bogus", "gcc", "-c", src}, 2, "usage: mirt-cc"},
        {{"--help"}, 0, "--mirt-style="},
        {{"no-such-cc", "-c", src, "-o", "/dev/null"}, 127, "cannot run the compiler 'no-such-cc'"},
    };
    for (const auto& c : cases) {
        ProcessResult r = cc(c.args);
        EXPECT_EQ(r.exit_code, c.exit_code) << c.said;
        EXPECT_TRUE(contains(c.exit_code == 0 ? r.out : r.err, c.said));
    }
    EXPECT_EQ(cc({"--version"}).out.compare(0, 8, "mirt-cc "), 0);
}

TEST(Launcher, OneCMakeSettingInstrumentsAProject) {
    std::string dir = mirt_test::make_temp_folder("mirt-cc-cmake");
    ProcessResult configure = run({"cmake", "-S", std::string(MIRT_PROGRAMS) + "/cmake_project", "-B", dir,
                                   "-DCMAKE_PROJECT_INCLUDE=" MIRT_CMAKE_MODULE, "-DMIRT_CC=" + kMirtCc});
    ASSERT_EQ(configure.exit_code, 0) << configure.out << configure.err;
    EXPECT_TRUE(contains(configure.out, "MirtCoverage: compiling and linking through " + kMirtCc));
    ProcessResult build = run({"cmake", "--build", dir});
    ASSERT_EQ(build.exit_code, 0) << build.out << build.err;
    EXPECT_EQ(build.err, "");
    EXPECT_TRUE(contains(run({"readelf", "-d", dir + "/app"}).out, "libmirt64.so"));
    EXPECT_TRUE(contains(run({"nm", "-u", dir + "/libutil.a"}).out, "c_mirt_reg2")) << "the library's C source";
    mirt_test::remove_file(kExitFile);
    EXPECT_TRUE(contains(run({dir + "/app", "12"}).out, "19 steps: 9"));

    // The line maps beside the objects tell the report what never ran.
    ProcessResult summary = run({MIRT_MIRT_REPORT, "--map", dir, "summary", kExitFile});
    EXPECT_EQ(summary.exit_code, 0) << summary.err;
    for (const std::string& line : {kApp + "/util.c: 8 of 10 lines hit (80.0%), 408 hits, 1 of 2 functions called, "
                                            "4 of 4 branch outcomes taken (100.0%); never run: 17-18\n",
                                    std::string("never taken: 10 ?: false, 15 if false\n"),
                                    kApp + "/main.cpp: 10 of 10 lines hit (100.0%)"})
        EXPECT_TRUE(contains(summary.out, line));
    // A second build finds nothing to do: the dependency files name real files.
    EXPECT_FALSE(contains(run({"cmake", "--build", dir}).out, "Building"));
    mirt_test::remove_tree(dir);
}
