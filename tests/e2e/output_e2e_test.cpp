// Coverage files that real programs loading the real library write at their exit, and
// outputs that cannot be written, reported while the program carries on with its counts.
// (The bytes of each section are the unit tests' part.)
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/contains.h"
#include "tests/support/test_support.h"

using namespace mirt_test;

namespace {

class OutputE2E : public ::testing::Test {
protected:
    void SetUp() override {
        folder = make_temp_folder("output");
        remove_file(exit_output_path());
        remove_file(index_file_path());
    }
    void TearDown() override {
        remove_tree(folder);
        remove_file(exit_output_path());
        remove_file(index_file_path());
    }
    RunResult probe(const std::vector<std::string>& args, const std::vector<EnvChange>& env = {},
                    int exit_code = 0) {
        RunResult r =
            run_program(join(program_folder(), executable_name("probe_app")), args, env, folder);
        EXPECT_EQ(r.exit_code, exit_code) << r.output;
        return r;
    }
    std::string folder;
};

}  // namespace

// The exit write follows the shutdown switch and flushes and closes the
// trace; its header names the process by its data name (executable,
// process id, -1). A process that recorded nothing leaves no file at all.
TEST_F(OutputE2E, ExitFileFollowsTheShutdownSwitch) {
    probe({"obj", "scope.cpp", "4", "obj", "scope.cpp", "4", "fn", "3"});
    std::string written = read_file(exit_output_path());
    ASSERT_EQ(written.rfind("=== mirt_" + executable_name("probe_app") + "_data_", 0), 0u)
        << written;
    EXPECT_TRUE(contains(written, "_-1\n>>> unknown\n--- scope.cpp\n### scope.cpp\n4,2\n3,1\n"));
    EXPECT_EQ(read_file(join(folder, "trace.out")),
              std::string("\x01\0\0\xFF\xFF\xFF\x01\0\0\xFF\xFF\xFF", 12));
    // Other programs write the fixed path too: from here on a private one.
    const std::vector<EnvChange> exit_file = {{"MIRT_EXIT_FILE", join(folder, "exit.out")}};
    probe({"fn", "3", "noexit"}, exit_file);
    probe({"write", join(folder, "none.out")}, exit_file);
    EXPECT_FALSE(file_exists(join(folder, "none.out")) || file_exists(join(folder, "exit.out")));
}

// MIRT_EXIT_FILE moves the exit write to a file named by a pattern, and
// MIRT_TEST_NAME names the test case of writes for which the program set none.
TEST_F(OutputE2E, EnvironmentNamesTheExitFileAndTheTestCase) {
    probe({"fn", "3"}, {{"MIRT_EXIT_FILE", join(folder, "cov-%e-%p-%h-%%-%x.out")}});
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        names.push_back(entry.path().filename().string());
    ASSERT_EQ(names.size(), 1u);
    std::string written = read_file(join(folder, names[0]));
    size_t data = written.find("_data_");
    ASSERT_NE(data, std::string::npos) << written;
    std::string head =
        "cov-probe_app-" + written.substr(data + 6, written.find("_-1") - data - 6) + "-";
    EXPECT_EQ(names[0].rfind(head, 0), 0u) << names[0];
    EXPECT_GT(names[0].size(), head.size() + std::string("-%-%x.out").size());
    EXPECT_EQ(names[0].substr(names[0].size() - 9), "-%-%x.out") << names[0];

    std::string out = join(folder, "named.out");
    probe({"fn", "3", "write", out}, {{"MIRT_EXIT_FILE", out}, {"MIRT_TEST_NAME", "suite.case"}});
    EXPECT_EQ(read_file(out),
              "=== suite.case\n>>> unknown\n3,1\n=== suite.case\n>>> unknown\n3,1\n");
}

// Processes that append record groups to one file at once (as a test run's
// processes end together) leave every group whole: a group is written in one
// piece, not in the pieces of a small buffer that others' groups may cut into.
TEST_F(OutputE2E, GroupsOfProcessesWritingAtOnceStayWhole) {
    const int processes = 4, writes = 8, lines = 3000;
    std::string table, expected;
    for (int k = 1; k <= lines; ++k) {
        table += (k > 1 ? "," : "") + std::to_string(k);
        expected += std::to_string(k) + ",1\n";
    }
    std::string out = join(folder, "shared.out");
    std::vector<Child> children;
    for (int p = 0; p < processes; ++p) {
        // A runtime folder each: every process is a host of its own.
        std::string own = join(folder, "t" + std::to_string(p));
        std::filesystem::create_directory(own);
        std::vector<std::string> args = {"reg2", "p" + std::to_string(p) + ".c", table, "noexit"};
        for (int w = 0; w < writes; ++w) args.insert(args.end(), {"write", out});
        children.push_back(start_program(join(program_folder(), executable_name("probe_app")), args,
                                         temp_folder_env(own), folder));
    }
    for (Child& child : children) EXPECT_EQ(wait_program(child), 0);
    std::string text = read_file(out);
    int groups = 0;
    for (size_t at = 0; at < text.size(); ++groups) {
        size_t heading = text.find("\n--- p", at), next = text.find("=== ", at + 1);
        ASSERT_EQ(text.compare(at, 4, "=== "), 0) << "group " << groups;
        ASSERT_NE(heading, std::string::npos);
        std::string name = text.substr(heading + 5, 4);  // "pN.c"
        std::string body = text.substr(heading, (next == std::string::npos ? text.size() : next) - heading);
        ASSERT_EQ(body, "\n--- " + name + "\n### " + name + "\n" + expected) << "group " << groups;
        at = next == std::string::npos ? text.size() : next;
    }
    EXPECT_EQ(groups, processes * writes);
}

// A folder that cannot be made (a file holds its name), even for a user whom permissions do
// not stop; and, where there is one, a device where every write finds the disk full: that
// takes the buffered record group when the file is closed.
TEST_F(OutputE2E, UnwritableOutputsAreReportedAndTheProgramGoesOn) {
    write_file(join(folder, "plain"), "a file, not a folder");
    const std::string blocked = join(join(join(folder, "plain"), "sub"), "run.out");
    const std::string full = full_device_path(), good = join(folder, "run.out");
    std::vector<std::string> args = {"name", "t", "l",     "line", "src/a.cpp",
                                     "3",    "5", "write", blocked};
    std::vector<std::string> expected = {"Error: can't open " + blocked};
    if (!full.empty()) {
        args.insert(args.end(), {"write", full});
        expected.push_back("Error: can't close " + full);
    }
    args.insert(args.end(), {"line", "src/a.cpp", "3", "2", "write", good, "noexit", "exit", "7"});
    const size_t log_before = read_file(error_log_path()).size();
    RunResult r = probe(args, {}, 7);  // it ran to its own end
    EXPECT_EQ(lines_of(r.output), expected);
    EXPECT_EQ(read_file(good), "=== t\n>>> l\n--- src\n### a.cpp\n3,7\n");
    const std::string log = read_file(error_log_path()).substr(log_before);
    EXPECT_TRUE(contains(log, ",1184]can not open file."));
    if (!full.empty()) { EXPECT_TRUE(contains(log, ",1241]can not close file.")); }
}
