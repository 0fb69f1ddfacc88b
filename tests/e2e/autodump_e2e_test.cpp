// Auto-dump in real processes: which of them start it in the profile folder, and dumps
// driven by the timer (through the message loop on Windows) up to the process's exit.
// (The configuration's values and the files' bytes are the unit tests' part.)
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/test_support.h"

using namespace mirt_test;
namespace fs = std::filesystem;

namespace {

class AutodumpE2E : public ::testing::Test {
protected:
    void SetUp() override {
        folder = make_temp_folder("autodump");
        profile = join(folder, "profile");
        coverage = join(profile, "coverage");
        config = join(coverage, "mirt_autodump_config.ini");
        fs::create_directories(join(folder, "bin"));
    }
    void TearDown() override { remove_tree(folder); }

    // Runs a test program under another executable name, with the profile
    // folder pointed into the test's folder; gives its output.
    std::string run_as(const std::string& program, const std::string& name,
                       const std::vector<std::string>& args, std::vector<EnvChange> env = {}) {
        env.insert(env.begin(), {{profile_variable(), profile}, {"MIRTHOST", std::nullopt},
                                 {"CodeCoverageAutomation", std::nullopt}});
        RunResult r =
            run_program(copy_program(program, join(folder, "bin"), name), args, env, folder);
        EXPECT_EQ(r.exit_code, 0) << r.output;
        return r.output;
    }
    std::string folder, profile, coverage, config;
};

}  // namespace

// Only the host starts it, and not in automation mode; the first start
// writes the configuration and makes the datafiles folder, empty.
TEST_F(AutodumpE2E, RealLibraryStartsInTheHostOnly) {
    run_as("probe_app", "pelvanor.exe", {"noexit"}, {{"CodeCoverageAutomation", "0"}});
    run_as("probe_app", "worker.exe", {"noexit"});
    EXPECT_FALSE(fs::exists(profile));
    run_as("probe_app", "pelvanor.exe", {"noexit"});
    ASSERT_TRUE(file_exists(config));
    EXPECT_TRUE(fs::is_empty(join(join(coverage, "datafiles"), "UNKNOWN")));
    EXPECT_FALSE(file_exists(join(coverage, "mirt_autodump_testcase_ID.dat")));
    remove_tree(profile);
    run_as("probe_app", "worker.exe", {"noexit"}, {{"MIRTHOST", "WORKER.exe"}});
    EXPECT_TRUE(file_exists(config));
}

// The timer dumps numbered test cases into one file while the process runs on; the process
// then ends while the timer ticks fast, and its exit write comes after the last tick. The
// executable's file version (3.1.7.42 in the program's Windows build), else UNKNOWN, names
// the folder and the file.
TEST_F(AutodumpE2E, TimerDumpsNumberedTestCasesIntoOneFileUntilTheExit) {
    EXPECT_EQ(lines_of(run_as(
                  "runtime_probe", "pelvanor.exe",
                  {"attach", "fn", "5", "interval", "10", "waitdumps", "2", "fn", "4", "detach"},
                  {{"MIRT_EXIT_FILE", join(folder, "exit.out")}})),
              std::vector<std::string>{"dumped"});
    const bool versioned = executable_name("x") != "x";
    const std::string computer = computer_name();
    std::string out =
        read_file(join(join(join(coverage, "datafiles"), versioned ? "3.1.7.42" : "UNKNOWN"),
                       (versioned ? "3.42_" : "UNKNOWN_") + computer + "_0.out"));
    std::string first_two = "=== " + computer + "_0\n>>> Optimize\n5,1\n=== " + computer + "_1\n";
    EXPECT_EQ(out.substr(0, first_two.size()), first_two);
    unsigned groups = 0;
    for (size_t at = out.find(">>> "); at != std::string::npos; at = out.find(">>> ", at + 1))
        ++groups;
    EXPECT_EQ(read_file(join(coverage, "mirt_autodump_testcase_ID.dat")), counter_bytes(groups));
    EXPECT_EQ(read_file(join(coverage, "mirt_autodump_outfile_ID.dat")), counter_bytes(1));
    std::string exit_file = read_file(join(folder, "exit.out"));
    EXPECT_EQ(exit_file.rfind("=== ", 0), 0u) << exit_file;
}
