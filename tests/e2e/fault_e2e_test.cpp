// Faults around a real program: outputs that cannot be written are reported
// and the program carries on with its counts intact.
#include <gtest/gtest.h>

#include "test_support.h"

using namespace mirt_test;

namespace {

class FaultE2E : public ::testing::Test {
protected:
    void SetUp() override {
        folder = make_temp_folder("fault");
        log_before = read_file(error_log_path()).size();
    }
    void TearDown() override { remove_tree(folder); }
    // The error-log lines that this test's programs added.
    std::string new_log_text() const { return read_file(error_log_path()).substr(log_before); }
    std::string folder;
    size_t log_before = 0;
};

}  // namespace

TEST_F(FaultE2E, UnwritableOutputsAreReportedAndTheProgramGoesOn) {
    // A folder that cannot be made (a file holds its name), even for a user
    // whom permissions do not stop; and a device where every write finds the
    // disk full, where there is one.
    write_file(join(folder, "plain"), "a file, not a folder");
    const std::string blocked = join(join(join(folder, "plain"), "sub"), "run.out");
    const std::string full = full_device_path();
    const std::string good = join(folder, "run.out");

    std::vector<std::string> args = {"name", "t", "l", "line", "src/a.cpp", "3", "5", "write", blocked};
    if (!full.empty()) args.insert(args.end(), {"write", full});
    args.insert(args.end(), {"line", "src/a.cpp", "3", "2", "write", good, "noexit", "exit", "7"});
    RunResult r = run_program(join(program_folder(), executable_name("probe_app")), args, {}, folder);

    EXPECT_EQ(r.exit_code, 7) << r.output;  // it ran to its own end
    std::vector<std::string> expected = {"Error: can't open " + blocked};
    // A full disk takes the buffered record group when the file is closed.
    if (!full.empty()) expected.push_back("Error: can't close " + full);
    EXPECT_EQ(lines_of(r.output), expected);
    EXPECT_EQ(read_file(good), "=== t\n>>> l\n--- src\n### a.cpp\n3,7\n");
    const std::string log = new_log_text();
    EXPECT_NE(log.find(",1184]can not open file."), std::string::npos) << log;
    if (!full.empty()) {
        EXPECT_NE(log.find(",1241]can not close file."), std::string::npos) << log;
    }
}
