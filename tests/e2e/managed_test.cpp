// Managed code under Mono reaching the native library through the managed wrapper.
#include <gtest/gtest.h>

#include "tests/support/test_support.h"

using namespace mirt_test;

TEST(Managed, ManagedHitsLandWhereNativeHitsOfTheSameNamesLand) {
    std::string folder = make_temp_folder("managed");
    std::string managed_out = join(folder, "managed.out");
    std::string native_out = join(folder, "native.out");
    // Mono finds libmirt64.so beside the assemblies through the library path.
    RunResult managed = run_program(MIRT_MONO, {MIRT_MANAGED_PROBE, managed_out},
                                    {{"LD_LIBRARY_PATH", program_folder()}}, folder);
    ASSERT_EQ(managed.exit_code, 0) << managed.output;

    // The same hits, made by a native program with the names as they should arrive.
    std::vector<std::string> calls{"line", "src/managed/Program.cs", "12", "3",
                                   "line", "src/managed/Caf?.cs",    "3"};
    std::string longest = "src/managed/Lengths_abcdefghijklmnopq.cs";
    for (size_t n = 1; n <= longest.size(); ++n) {
        calls.insert(calls.end(), {"line", longest.substr(0, n), std::to_string(n)});
    }
    calls.insert(calls.end(), {"line", "raw/x", "9", "write", native_out, "noexit"});
    RunResult native = run_program(join(program_folder(), "probe_app"), calls, {}, folder);
    ASSERT_EQ(native.exit_code, 0) << native.output;

    std::string expected = read_file(native_out);
    ASSERT_NE(expected.find("### Program.cs\n12,3\n"), std::string::npos) << expected;
    ASSERT_NE(expected.find("### Caf?.cs\n3,1\n"), std::string::npos) << expected;
    // Only the first header line differs: each process names itself. The
    // empty names recorded nothing, and no name picked up bytes past its end.
    auto body = [](const std::string& text) { return text.substr(text.find("\n>>> ")); };
    EXPECT_EQ(body(read_file(managed_out)), body(expected));
    remove_tree(folder);
}
