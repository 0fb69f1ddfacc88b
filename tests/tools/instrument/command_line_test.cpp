// Reading compiler command lines and the compiler's own report.
#include <gtest/gtest.h>

#include "tools/instrument/compile_command.h"
#include "tools/instrument/compiler_query.h"

using namespace mirt_instrument;

namespace {

// What the command compiles (each source with its language), writes and does.
std::string describe(const std::vector<std::string>& command) {
    CompileCommand c = parse_compile_command(command);
    std::string d = c.compiler;
    for (const SourceArg& s : c.sources) d += " " + c.args[s.index] + (s.language == Language::c ? ":C" : ":C++");
    if (!c.output.empty()) d += " -o " + c.output;
    if (!c.depfile.empty()) d += " deps " + c.depfile;
    return d + (c.compile_only ? " compile" : "") + (c.preprocess_only ? " preprocess" : "") + (c.links ? " link" : "");
}

}  // namespace

// Sources and their languages but never the values of options; -x c++ makes
// c.c a C++ source, -x none goes back to the extension, a C++ driver compiles
// a.c as C++ unless -x c says otherwise. Compile, link and preprocess steps.
// A dependency file follows the object (-MF alone writes none beside it).
TEST(CompileCommand, SourcesLanguagesStepsAndDependencyFiles) {
    const struct {
        std::vector<std::string> command;
        std::string expected;
    } cases[] = {
        {{"g++", "-I", "inc.cpp", "-o", "out.cpp", "-DX=1", "-c", "a.cpp", "-include", "pre.h", "-MF", "dep.c", "b.cc",
          "lib.o"},
         "g++ a.cpp:C++ b.cc:C++ -o out.cpp compile"},
        {{"gcc", "-c", "a.c", "b.C", "x.c++", "dir.c/f", "-x", "c++", "c.c", "-x", "none", "d.c", "-xassembler", "e.c",
          "f.txt"},
         "gcc a.c:C b.C:C++ x.c++:C++ c.c:C++ d.c:C compile"},
        {{"/usr/bin/x86_64-w64-mingw32-g++-posix", "-c", "a.c", "-x", "c", "b.c"},
         "/usr/bin/x86_64-w64-mingw32-g++-posix a.c:C++ b.c:C compile"},
        {{"g++", "a.o", "b.o", "-o", "prog"}, "g++ -o prog link"},
        {{"g++", "a.cpp", "-o", "prog"}, "g++ a.cpp:C++ -o prog link"},
        {{"g++", "-E", "a.cpp"}, "g++ a.cpp:C++ preprocess"},
        {{"g++", "-MM", "a.cpp"}, "g++ a.cpp:C++ preprocess"},
        {{"g++", "--version"}, "g++"},  // no input, nothing to link
        {{"g++", "-S", "a.cpp"}, "g++ a.cpp:C++ compile"},
        {{"g++", "-MD", "-MT", "x", "-MF", "dir/x.d", "-c", "a.cpp"}, "g++ a.cpp:C++ deps dir/x.d compile"},
        {{"g++", "-MMD", "-c", "a.cpp", "-o", "obj/a.cpp.o"}, "g++ a.cpp:C++ -o obj/a.cpp.o deps obj/a.cpp.d compile"},
        {{"g++", "-MD", "-c", "src/a.cpp"}, "g++ src/a.cpp:C++ deps a.d compile"},
        {{"g++", "-MD", "-MFdeps.d", "-c", "a.cpp"}, "g++ a.cpp:C++ deps deps.d compile"},
    };
    for (const auto& c : cases) EXPECT_EQ(describe(c.command), c.expected);
}

// The flags that shape the source, for the parse; those that change the target and the system folders.
TEST(CompileCommand, ParseFlagsKeepWhatShapesTheSourceAndDriverFlagsTheTarget) {
    CompileCommand c = parse_compile_command({"g++", "-DA=1", "-I", "inc", "-Iother", "-std=c++17", "-O2",
                                              "-Wall", "-Werror", "-g", "-fPIC", "-MD", "-MF", "x.d", "-x",
                                              "c++", "-include", "pre.h", "-fno-exceptions", "-Wl,-z,now",
                                              "-fsome-gcc-only-flag", "-c", "a.cpp", "-o", "a.o", "-Og"});
    EXPECT_EQ(parse_flags(c),
              (std::vector<std::string>{"-DA=1", "-I", "inc", "-Iother", "-std=c++17", "-O2", "-fPIC", "-include",
                                        "pre.h", "-fno-exceptions", "-O1"}));
    c = parse_compile_command({"gcc", "-m32", "--sysroot=/sys", "-I", "-m64", "-nostdinc", "-DX", "-c", "a.c"});
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
