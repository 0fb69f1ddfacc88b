// Reading compiler command lines and the compiler's own report.
#include <gtest/gtest.h>

#include "tools/instrument/compile_command.h"
#include "tools/instrument/compiler_query.h"

using namespace mirt_instrument;

namespace {

std::vector<std::string> sources_of(const CompileCommand& c) {
    std::vector<std::string> names;
    for (const SourceArg& s : c.sources) names.push_back(c.args[s.index]);
    return names;
}

}  // namespace

TEST(CompileCommand, FindsSourcesAndTheirLanguagesButNotOptionValues) {
    CompileCommand c = parse_compile_command({"g++", "-I", "inc.cpp", "-o", "out.cpp", "-DX=1", "-c",
                                              "a.cpp", "-include", "pre.h", "-MF", "dep.c", "b.cc", "lib.o"});
    EXPECT_EQ(c.compiler, "g++");
    EXPECT_EQ(sources_of(c), (std::vector<std::string>{"a.cpp", "b.cc"}));
    EXPECT_EQ(c.output, "out.cpp");
    EXPECT_TRUE(c.compile_only);
    EXPECT_FALSE(c.links);
    EXPECT_TRUE(c.depfile.empty()) << "-MF alone writes no dependency file beside the object";

    // -x c++ makes c.c a C++ source; -x none goes back to the extension.
    CompileCommand x = parse_compile_command({"gcc", "-c", "a.c", "b.C", "x.c++", "dir.c/f", "-x",
                                              "c++", "c.c", "-x", "none", "d.c", "-xassembler",
                                              "e.c", "f.txt"});
    auto languages = [](const CompileCommand& command) {
        std::vector<std::string> found;
        for (const SourceArg& s : command.sources)
            found.push_back(command.args[s.index] + (s.language == Language::c ? " C" : " C++"));
        return found;
    };
    EXPECT_EQ(languages(x), (std::vector<std::string>{"a.c C", "b.C C++", "x.c++ C++", "c.c C++", "d.c C"}));
    // A C++ driver compiles a.c as C++, unless -x c says otherwise.
    EXPECT_EQ(languages(parse_compile_command({"/usr/bin/x86_64-w64-mingw32-g++-posix", "-c", "a.c", "-x", "c",
                                               "b.c"})),
              (std::vector<std::string>{"a.c C++", "b.c C"}));
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

// The real compilers' targets, search lists and standards, the default or
// the one that the flags choose.
TEST(CompilerReport, AsksTheRealCompilers) {
    CompilerSetup native = query_compiler("g++", {}, Language::cplusplus);
    ASSERT_TRUE(native.known);
    EXPECT_FALSE(is_windows_target(native.target));
    ASSERT_FALSE(native.include_folders.empty());
    EXPECT_EQ(native.include_folders.back(), "/usr/include");
    EXPECT_EQ(native.standard, "gnu++17") << "g++ 12 defaults to C++17";
    EXPECT_EQ(query_compiler("g++", {"-std=c++20"}, Language::cplusplus).standard, "c++20");
    EXPECT_EQ(query_compiler("gcc", {}, Language::c).standard, "gnu17");
    EXPECT_EQ(query_compiler("gcc", {"-std=gnu99"}, Language::c).standard, "gnu99");
    CompilerSetup cross = query_compiler("x86_64-w64-mingw32-g++-posix", {}, Language::cplusplus);
    ASSERT_TRUE(cross.known);
    EXPECT_TRUE(is_windows_target(cross.target));
    EXPECT_NE(cross.include_folders.back().find("/x86_64-w64-mingw32/include"), std::string::npos);
    EXPECT_FALSE(query_compiler("no-such-compiler-here", {}, Language::c).known);
}
