// Reading compiler command lines and the compiler's own report.
#include <gtest/gtest.h>

#include "compile_command.h"
#include "compiler_query.h"

using namespace mirt_instrument;

namespace {

std::vector<std::string> sources_of(const CompileCommand& c) {
    std::vector<std::string> names;
    for (const SourceArg& s : c.sources) names.push_back(c.args[s.index]);
    return names;
}

}  // namespace

TEST(CompileCommand, FindsSourcesButNotOptionValues) {
    CompileCommand c = parse_compile_command({"g++", "-I", "inc.cpp", "-o", "out.cpp", "-DX=1", "-c",
                                              "a.cpp", "-include", "pre.h", "-MF", "dep.c", "b.cc", "lib.o"});
    EXPECT_EQ(c.compiler, "g++");
    EXPECT_EQ(sources_of(c), (std::vector<std::string>{"a.cpp", "b.cc"}));
    EXPECT_EQ(c.output, "out.cpp");
    EXPECT_TRUE(c.compile_only);
    EXPECT_FALSE(c.links);
    EXPECT_TRUE(c.depfile.empty()) << "-MF alone writes no dependency file beside the object";
}

TEST(CompileCommand, LanguageComesFromExtensionOrDashX) {
    CompileCommand c = parse_compile_command(
        {"gcc", "-c", "a.c", "b.C", "-x", "c++", "c.c", "-x", "none", "d.c", "-xassembler", "e.c", "f.txt"});
    ASSERT_EQ(c.sources.size(), 4u);
    EXPECT_EQ(c.sources[0].language, Language::c);
    EXPECT_EQ(c.sources[1].language, Language::cplusplus);
    EXPECT_EQ(c.sources[2].language, Language::cplusplus) << "-x c++ makes c.c a C++ source";
    EXPECT_EQ(c.args[c.sources[3].index], "d.c");
    EXPECT_EQ(c.sources[3].language, Language::c) << "-x none goes back to the extension";
}

TEST(CompileCommand, TellsCompileLinkAndPreprocessSteps) {
    EXPECT_TRUE(parse_compile_command({"g++", "a.o", "b.o", "-o", "prog"}).links);
    EXPECT_TRUE(parse_compile_command({"g++", "a.cpp", "-o", "prog"}).links);
    EXPECT_FALSE(parse_compile_command({"g++", "-E", "a.cpp"}).links);
    EXPECT_TRUE(parse_compile_command({"g++", "-E", "a.cpp"}).preprocess_only);
    EXPECT_TRUE(parse_compile_command({"g++", "-MM", "a.cpp"}).preprocess_only);
    EXPECT_FALSE(parse_compile_command({"g++", "--version"}).links) << "no input, nothing to link";
    EXPECT_FALSE(parse_compile_command({"g++", "-S", "a.cpp"}).links);
}

TEST(CompileCommand, DependencyFileFollowsTheObject) {
    EXPECT_EQ(parse_compile_command({"g++", "-MD", "-MT", "x", "-MF", "dir/x.d", "-c", "a.cpp"}).depfile, "dir/x.d");
    EXPECT_EQ(parse_compile_command({"g++", "-MMD", "-c", "a.cpp", "-o", "obj/a.cpp.o"}).depfile, "obj/a.cpp.d");
    EXPECT_EQ(parse_compile_command({"g++", "-MD", "-c", "src/a.cpp"}).depfile, "a.d");
    EXPECT_EQ(parse_compile_command({"g++", "-MD", "-MFdeps.d", "-c", "a.cpp"}).depfile, "deps.d");
}

TEST(CompileCommand, ParseFlagsKeepWhatShapesTheSource) {
    CompileCommand c = parse_compile_command({"g++", "-DA=1", "-I", "inc", "-Iother", "-std=c++17", "-O2",
                                              "-Wall", "-Werror", "-g", "-fPIC", "-MD", "-MF", "x.d", "-x",
                                              "c++", "-include", "pre.h", "-fno-exceptions", "-Wl,-z,now",
                                              "-fsome-gcc-only-flag", "-c", "a.cpp", "-o", "a.o", "-Og"});
    EXPECT_EQ(parse_flags(c),
              (std::vector<std::string>{"-DA=1", "-I", "inc", "-Iother", "-std=c++17", "-O2", "-fPIC", "-include",
                                        "pre.h", "-fno-exceptions", "-O1"}));
}

TEST(CompileCommand, DriverFlagsChangeTargetAndSystemFolders) {
    CompileCommand c = parse_compile_command({"gcc", "-m32", "--sysroot=/sys", "-I", "-m64", "-nostdinc",
                                              "-DX", "-c", "a.c"});
    EXPECT_EQ(driver_flags(c), (std::vector<std::string>{"-m32", "--sysroot=/sys", "-nostdinc"}))
        << "-m64 here is the value of -I, not a flag";
}

TEST(CompileCommand, PathParts) {
    EXPECT_EQ(folder_of("a.cpp"), ".");
    EXPECT_EQ(folder_of("src/sub/a.cpp"), "src/sub");
    EXPECT_EQ(folder_of("/a.cpp"), "/");
    EXPECT_EQ(base_name("src/sub/a.cpp"), "a.cpp");
    EXPECT_EQ(language_of_name("dir.c/file"), Language::none);
    EXPECT_EQ(language_of_name("x.c++"), Language::cplusplus);
    EXPECT_EQ(language_of_name("x.h"), Language::none);
}

TEST(CompilerReport, ReadsTargetAndSearchList) {
    const char* report =
        "Using built-in specs.\n"
        "Target: x86_64-w64-mingw32\n"
        "#include \"...\" search starts here:\n"
        " /quoted/only\n"
        "#include <...> search starts here:\n"
        " /usr/lib/gcc/x86_64-w64-mingw32/12-posix/include/c++\n"
        " /usr/lib/gcc/x86_64-w64-mingw32/12-posix/include\n"
        " /usr/lib/gcc/x86_64-w64-mingw32/12-posix/include-fixed\n"
        " /Library/Frameworks (framework directory)\n"
        " /usr/x86_64-w64-mingw32/include\n"
        "End of search list.\n"
        " /not/a/folder\n";
    CompilerSetup s = read_compiler_report(report);
    ASSERT_TRUE(s.known);
    EXPECT_EQ(s.target, "x86_64-w64-mingw32");
    EXPECT_EQ(s.include_folders,
              (std::vector<std::string>{"/usr/lib/gcc/x86_64-w64-mingw32/12-posix/include/c++",
                                        "/usr/lib/gcc/x86_64-w64-mingw32/12-posix/include",
                                        "/usr/lib/gcc/x86_64-w64-mingw32/12-posix/include-fixed",
                                        "/usr/x86_64-w64-mingw32/include"}));
    EXPECT_TRUE(is_windows_target(s.target));
    EXPECT_FALSE(is_windows_target("x86_64-linux-gnu"));
    EXPECT_FALSE(read_compiler_report("Target: x\n").known) << "no search list, no answer";
}

TEST(CompilerReport, DefaultStandardFromPredefinedMacros) {
    EXPECT_EQ(standard_of_macros("#define __cplusplus 201703L\n#define __GNUC__ 12\n", Language::cplusplus), "gnu++17");
    EXPECT_EQ(standard_of_macros("#define __STRICT_ANSI__ 1\n#define __cplusplus 202002L\n", Language::cplusplus),
              "c++20");
    EXPECT_EQ(standard_of_macros("#define __cplusplus 201103L\n", Language::cplusplus), "gnu++11");
    EXPECT_EQ(standard_of_macros("#define __STDC_VERSION__ 201710L\n", Language::c), "gnu17");
    EXPECT_EQ(standard_of_macros("#define __STDC__ 1\n", Language::c), "gnu89");
    EXPECT_EQ(read_compiler_report("Target: t\n#include <...> search starts here:\nEnd of search list.\n",
                                   "#define __STDC_VERSION__ 199901L\n")
                  .standard,
              "gnu99");
}

TEST(CompilerReport, ClangGetsItsOwnIntrinsicHeadersInPlaceOfGccs) {
    CompilerSetup s;
    s.known = true;
    s.target = "x86_64-linux-gnu";
    s.standard = "gnu++17";
    s.include_folders = {"/usr/include/c++/12", "/usr/lib/gcc/x86_64-linux-gnu/12/include",
                         "/usr/lib/gcc/x86_64-linux-gnu/12/include-fixed", "/usr/include"};
    EXPECT_EQ(clang_arguments(s, {"-DX"}, "/res"),
              (std::vector<std::string>{"-resource-dir=/res", "--target=x86_64-linux-gnu", "-std=gnu++17", "-DX",
                                        "-nostdinc",
                                        "-isystem", "/usr/include/c++/12", "-isystem", "/res/include",
                                        "-isystem", "/usr/include"}));
    EXPECT_EQ(clang_arguments(CompilerSetup(), {"-DX"}, "/res"),
              (std::vector<std::string>{"-resource-dir=/res", "-DX"}))
        << "a compiler that did not answer leaves Clang's own defaults";
}

TEST(CompilerReport, AsksTheRealCompilers) {
    CompilerSetup native = query_compiler("g++", {}, Language::cplusplus);
    ASSERT_TRUE(native.known);
    EXPECT_FALSE(is_windows_target(native.target));
    EXPECT_FALSE(native.include_folders.empty());
    EXPECT_EQ(native.standard, "gnu++17") << "g++ 12 defaults to C++17";
    CompilerSetup cross = query_compiler("x86_64-w64-mingw32-g++-posix", {}, Language::cplusplus);
    ASSERT_TRUE(cross.known);
    EXPECT_TRUE(is_windows_target(cross.target));
    EXPECT_FALSE(query_compiler("no-such-compiler-here", {}, Language::c).known);
}
