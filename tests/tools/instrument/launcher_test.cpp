// mirt-cc in front of real compilers: programs build, run and behave as
// their plain builds do; what cannot be instrumented still builds.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <fstream>

#include "tools/instrument/subprocess.h"
#include "tests/support/test_support.h"

using mirt_instrument::ProcessResult;
using mirt_instrument::run_process;

namespace {

const std::string kApp = std::string(MIRT_PROGRAMS) + "/app";
const std::string kMirtCc = MIRT_MIRT_CC;
const std::string kExitFile = "/tmp/mirt_exit.out";

// Compiles main.cpp and util.c one by one (with a dependency file, as CMake
// does) in folder and links them into folder/app, the launcher in front when given.
bool build_app(const std::vector<std::string>& launcher, const std::string& cc,
               const std::string& cxx, const std::string& folder, std::string* log,
               const std::vector<std::string>& link_extra = {}) {
    auto run = [&](std::vector<std::string> argv) {
        argv.insert(argv.begin(), launcher.begin(), launcher.end());
        ProcessResult r = run_process(argv, true);
        *log += r.out + r.err;
        return r.exit_code == 0;
    };
    std::vector<std::string> link = {cxx, folder + "/main.o", folder + "/util.o", "-o",
                                     folder + "/app"};
    link.insert(link.end(), link_extra.begin(), link_extra.end());
    return run({cxx, "-O1", "-MD", "-MT", "main.o", "-MF", folder + "/main.o.d", "-c",
                kApp + "/main.cpp", "-o", folder + "/main.o"}) &&
           run({cc, "-O1", "-c", kApp + "/util.c", "-o", folder + "/util.o"}) && run(link);
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

    ProcessResult a = run_process({plain_dir + "/app", "30"}, true);
    mirt_test::remove_file(kExitFile);
    ProcessResult b = run_process({inst_dir + "/app", "30"}, true);
    EXPECT_EQ(b.out, a.out);
    EXPECT_EQ(b.exit_code, a.exit_code);
    EXPECT_NE(b.out.find("file " + kApp + "/main.cpp line 18"), std::string::npos)
        << "__FILE__ and __LINE__ name the original: " << b.out;
    std::string exit_output = mirt_test::read_file(kExitFile);
    EXPECT_NE(exit_output.find("### main.cpp\n"), std::string::npos) << exit_output;
    EXPECT_NE(exit_output.find("### util.c\n"), std::string::npos) << exit_output;
    if (plain) *plain = a;
    if (counts) *counts = counts_of(exit_output);

    for (const char* obj : {"/main.o", "/util.o"})
        EXPECT_NE(run_process({"nm", "-u", inst_dir + obj}, true).out.find("c_mirt_reg2"),
                  std::string::npos) << obj;
    EXPECT_NE(run_process({"readelf", "-d", inst_dir + "/app"}, true).out.find("libmirt64.so"),
              std::string::npos);
    std::string deps = mirt_test::read_file(inst_dir + "/main.o.d");
    EXPECT_NE(deps.find(kApp + "/main.cpp"), std::string::npos) << deps;
    EXPECT_NE(deps.find(kApp + "/util.h"), std::string::npos) << deps;
    EXPECT_EQ(deps.find("/mirt-cc-"), std::string::npos) << deps;
    mirt_test::remove_tree(plain_dir);
    mirt_test::remove_tree(inst_dir);
}

}  // namespace

TEST(Launcher, ClangBuildsBehaveAsPlainOnes) { check_like_plain("clang", "clang++"); }

// And a Windows build through mirt-cc (in the atomic style: per-thread tables)
// runs under Wine as the plain one does, counting the same lines the same
// number of times as the native build (table style).
TEST(Launcher, GccBuildsBehaveAsPlainOnesOnBothSystems) {
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
    ProcessResult nm = run_process({"x86_64-w64-mingw32-nm", "-u", dir + "/main.o"}, true);
    EXPECT_NE(nm.out.find("c_mirt_reg2"), std::string::npos);
    std::string map = mirt_test::read_file(dir + "/main.o.mirtmap");
    EXPECT_NE(map.find("\nfunction 9 20 main(int, char **)\n"), std::string::npos);
    ASSERT_EQ(run_process({"cp", dll, dir + "/mirt64.dll"}, false).exit_code, 0);

    const std::string windows_exit = std::string(MIRT_WINEPREFIX) + "/drive_c/temp/mirt_exit.out";
    mirt_test::remove_file(windows_exit);
    const std::string prefix = "WINEPREFIX=" + std::string(MIRT_WINEPREFIX);
    const std::string quiet = "WINEDLLOVERRIDES=mscoree,mshtml=;winemenubuilder.exe=d";
    ProcessResult b = run_process({"env", prefix, "WINEDEBUG=-all", quiet, "/usr/lib/wine/wine64",
                                   dir + "/app.exe", "30"}, true);
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
    ProcessResult r = run_process({kMirtCc, "gcc", nested, "-o", dir + "/nested"}, true);
    ASSERT_EQ(r.exit_code, 0) << r.err;
    EXPECT_NE(r.err.find("mirt-cc: warning: " + nested + " left without probes"), std::string::npos)
        << r.err;
    EXPECT_EQ(r.err.find("warning", r.err.find("warning") + 1), std::string::npos) << "one warning only: " << r.err;
    EXPECT_EQ(run_process({dir + "/nested"}, true).exit_code, 0);

    // A copy that does not compile (the source declares the probes' functions
    // again, which -Wredundant-decls -Werror rejects) gives way to the original,
    // and the line map says why.
    mirt_test::write_file(dir + "/own.c", "#include \"" + std::string(MIRT_INCLUDE_DIR) +
                                              "/mirt64.h\"\nint one(void) {\n    return 1;\n}\n");
    ProcessResult own = run_process({kMirtCc, "gcc", "-Wredundant-decls", "-Werror", "-c", dir + "/own.c", "-o",
                                     dir + "/own.o"}, true);
    EXPECT_EQ(own.exit_code, 0) << own.err;
    EXPECT_NE(own.err.find("did not compile; compiling the original"), std::string::npos) << own.err;
    EXPECT_EQ(run_process({"nm", "-u", dir + "/own.o"}, true).out.find("mirt"), std::string::npos);
    EXPECT_NE(mirt_test::read_file(dir + "/own.o.mirtmap").find("\nunprobed its instrumented copy did not compile\n"),
              std::string::npos) << "the line map says why the object has no probes";

    // MIRT_STRICT turns a source left without probes into a failed build.
    mirt_test::RunResult strict_build = mirt_test::run_program(
        "/bin/sh", {"-c", "MIRT_STRICT=1 " + kMirtCc + " gcc -c " + std::string(MIRT_CORPUS) +
                              "/nested_function.c -o " + dir + "/n.o"});
    EXPECT_EQ(strict_build.exit_code, 3) << strict_build.output;
    EXPECT_NE(strict_build.output.find("nested_function.c would be built without probes (MIRT_STRICT is set)"),
              std::string::npos) << strict_build.output;

    // A real error stays an error, reported by the real compiler.
    mirt_test::write_file(dir + "/bad.c", "int broken(void) { return missing; }\n");
    ProcessResult bad = run_process({kMirtCc, "gcc", "-c", dir + "/bad.c", "-o", dir + "/bad.o"}, true);
    EXPECT_NE(bad.exit_code, 0);
    EXPECT_NE(bad.err.find("missing"), std::string::npos) << bad.err;
    EXPECT_FALSE(mirt_test::file_exists(dir + "/bad.o"));

    // A folder name with a space and '#': the dependency file names the
    // original escaped as make reads it.
    mkdir((dir + "/a #b").c_str(), 0700);
    mirt_test::write_file(dir + "/a #b/x.c", "int x(void) { return 1; }\n");
    ProcessResult odd = run_process({kMirtCc, "gcc", "-MD", "-MF", dir + "/x.d", "-c", dir + "/a #b/x.c", "-o",
                                     dir + "/x.o"}, true);
    EXPECT_EQ(odd.exit_code, 0) << odd.err;
    std::string odd_deps = mirt_test::read_file(dir + "/x.d");
    EXPECT_NE(odd_deps.find(" " + dir + "/a\\ \\#b/x.c"), std::string::npos) << odd_deps;
    EXPECT_EQ(odd_deps.find("/mirt-cc-"), std::string::npos) << odd_deps;

    mirt_test::write_file(dir + "/warn.cpp", "int f(int x) {\n    int unused = x;\n    return x;\n}\n");
    ProcessResult warn = run_process({kMirtCc, "g++", "-Wall", "-c", dir + "/warn.cpp", "-o", dir + "/warn.o"}, true);
    EXPECT_EQ(warn.exit_code, 0) << warn.err;
    EXPECT_NE(warn.err.find(dir + "/warn.cpp:2:"), std::string::npos) << warn.err;
    EXPECT_NE(warn.err.find("unused"), std::string::npos) << warn.err;
    EXPECT_EQ(warn.err.find("/mirt-cc-"), std::string::npos) << "no trace of the copy's name: " << warn.err;
    mirt_test::remove_tree(dir);
}

// The project's headers and included sources get probes under their own
// names: a header that two objects include shows once, with the counts of
// both; a template's lines count once. __FILE__ and the dependency files
// still name the originals.
TEST(Launcher, HeadersAndIncludedSourcesCountUnderTheirOwnNames) {
    std::string dir = mirt_test::make_temp_folder("mirt-cc-headers");
    for (const char* sub : {"/include", "/src"}) mkdir((dir + sub).c_str(), 0700);
    mirt_test::write_file(dir + "/include/calc.h",
                          "#pragma once\ntemplate <typename T>\nT twice(T x) {\n    return x + x;\n}\n"
                          "inline const char* where() { return __FILE__; }\n");
    mirt_test::write_file(dir + "/src/helper.c", "static int helper(int x) {\n    return x - 1;\n}\n");
    mirt_test::write_file(dir + "/src/one.cpp",
                          "#include \"calc.h\"\n#include \"helper.c\"\nint one(int x) { return twice(x) + helper(x); }\n");
    mirt_test::write_file(dir + "/src/main.cpp",
                          "#include <cstdio>\n#include <calc.h>\nint one(int);\nint main() {\n"
                          "    std::printf(\"%d %g %s\\n\", one(2), twice(1.5), where());\n}\n");
    auto cc = [&](std::vector<std::string> args) {
        args.insert(args.begin(), kMirtCc);
        return mirt_test::run_program(args[0], std::vector<std::string>(args.begin() + 1, args.end()), {}, dir);
    };
    for (const char* name : {"one", "main"}) {
        std::string n = name;
        mirt_test::RunResult r = cc({"g++", "-Iinclude", "-MD", "-MF", n + ".o.d", "-c", "src/" + n + ".cpp", "-o",
                                     n + ".o"});
        ASSERT_EQ(r.exit_code, 0) << r.output;
        EXPECT_EQ(r.output, "");
        std::string deps = mirt_test::read_file(dir + "/" + n + ".o.d");
        EXPECT_NE(deps.find(dir + "/include/calc.h"), std::string::npos) << deps;
        EXPECT_EQ(deps.find("/mirt-cc-"), std::string::npos) << deps;
    }
    ASSERT_EQ(cc({"g++", "one.o", "main.o", "-o", "app"}).exit_code, 0);
    mirt_test::remove_file("/tmp/mirt_exit.out");
    mirt_test::RunResult run = mirt_test::run_program(dir + "/app", {}, {}, dir);
    EXPECT_EQ(run.output, "5 3 include/calc.h\n");

    ProcessResult summary = run_process({MIRT_MIRT_REPORT, "--map", dir, "summary", "/tmp/mirt_exit.out"}, true);
    EXPECT_NE(summary.out.find("    include/calc.h: 3 of 3 lines hit (100.0%), 5 hits, 2 of 2 functions called\n"),
              std::string::npos) << summary.out;
    EXPECT_NE(summary.out.find("    src/helper.c: 2 of 2 lines hit (100.0%), 2 hits, 1 of 1 function called\n"),
              std::string::npos) << summary.out;
    mirt_test::remove_tree(dir);
}

TEST(Launcher, LeavesStepsWithoutObjectsAlone) {
    std::string src = kApp + "/util.c";
    ProcessResult plain = run_process({"gcc", "-E", src}, true);
    ProcessResult via = run_process({kMirtCc, "gcc", "-E", src}, true);
    EXPECT_EQ(via.exit_code, 0);
    EXPECT_EQ(via.out, plain.out);
    EXPECT_EQ(run_process({kMirtCc, "gcc", "--version"}, true).out, run_process({"gcc", "--version"}, true).out);
    ProcessResult usage = run_process({kMirtCc, "--mirt-style=bogus", "gcc", "-c", src}, true);
    EXPECT_EQ(usage.exit_code, 2);
    EXPECT_NE(usage.err.find("usage: mirt-cc"), std::string::npos);
    // Its own --help and --version need no compiler; a compiler that is not
    // there is named.
    ProcessResult help = run_process({kMirtCc, "--help"}, true);
    EXPECT_EQ(help.exit_code, 0);
    EXPECT_NE(help.out.find("--mirt-style="), std::string::npos);
    EXPECT_EQ(run_process({kMirtCc, "--version"}, true).out.compare(0, 8, "mirt-cc "), 0);
    ProcessResult missing = run_process({kMirtCc, "no-such-cc", "-c", src, "-o", "/dev/null"}, true);
    EXPECT_EQ(missing.exit_code, 127);
    EXPECT_NE(missing.err.find("cannot run the compiler 'no-such-cc'"), std::string::npos) << missing.err;
}

TEST(Launcher, OneCMakeSettingInstrumentsAProject) {
    std::string dir = mirt_test::make_temp_folder("mirt-cc-cmake");
    ProcessResult configure = run_process(
        {"cmake", "-S", std::string(MIRT_PROGRAMS) + "/cmake_project", "-B", dir,
         "-DCMAKE_PROJECT_INCLUDE=" + std::string(MIRT_CMAKE_MODULE), "-DMIRT_CC=" + kMirtCc}, true);
    ASSERT_EQ(configure.exit_code, 0) << configure.out << configure.err;
    EXPECT_NE(configure.out.find("MirtCoverage: compiling and linking through " + kMirtCc), std::string::npos);
    ProcessResult build = run_process({"cmake", "--build", dir}, true);
    ASSERT_EQ(build.exit_code, 0) << build.out << build.err;
    EXPECT_EQ(build.err, "");
    ProcessResult needed = run_process({"readelf", "-d", dir + "/app"}, true);
    EXPECT_NE(needed.out.find("libmirt64.so"), std::string::npos);
    ProcessResult nm = run_process({"nm", "-u", dir + "/libutil.a"}, true);
    EXPECT_NE(nm.out.find("c_mirt_reg2"), std::string::npos) << "the library's C source has probes too";
    mirt_test::remove_file("/tmp/mirt_exit.out");
    ProcessResult run = run_process({dir + "/app", "12"}, true);
    EXPECT_NE(run.out.find("19 steps: 9"), std::string::npos) << run.out;

    // The line maps beside the objects tell the report what never ran.
    ProcessResult summary = run_process({MIRT_MIRT_REPORT, "--map", dir, "summary", "/tmp/mirt_exit.out"}, true);
    EXPECT_EQ(summary.exit_code, 0) << summary.err;
    EXPECT_NE(summary.out.find(kApp + "/util.c: 8 of 10 lines hit (80.0%), 408 hits, 1 of 2 functions called, "
                               "4 of 4 branch outcomes taken (100.0%); never run: 17-18\n"),
              std::string::npos) << summary.out;
    EXPECT_NE(summary.out.find("never taken: 10 ?: false, 15 if false\n"), std::string::npos) << summary.out;
    EXPECT_NE(summary.out.find(kApp + "/main.cpp: 10 of 10 lines hit (100.0%)"), std::string::npos) << summary.out;
    // A second build finds nothing to do: the dependency files name real files.
    ProcessResult again = run_process({"cmake", "--build", dir}, true);
    EXPECT_EQ(again.out.find("Building"), std::string::npos) << again.out;
    mirt_test::remove_tree(dir);
}
