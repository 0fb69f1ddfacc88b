// The executable's file version names the auto-dump folder and files. This file holds only Windows code.
#include <gtest/gtest.h>

#include <filesystem>

#include "test_support.h"

using namespace mirt_test;

TEST(AutodumpVersionE2E, FileVersionNamesFolderAndFiles) {
    std::string folder = make_temp_folder("version");
    std::string profile = join(folder, "profile");
    std::string program = copy_program("runtime_probe", folder, "pelvanor.exe");
    RunResult r = run_program(program, {"attach", "fn", "5", "tick", "noexit", "detach"},
                              {{"USERPROFILE", profile}, {"MIRTHOST", std::nullopt}, {"CodeCoverageAutomation", std::nullopt}});
    EXPECT_EQ(r.exit_code, 0) << r.output;
    std::string computer = computer_name();
    std::string out = join(profile, "coverage\\datafiles\\3.1.7.42\\3.42_" + computer + "_0.out");
    EXPECT_EQ(read_file(out), "=== " + computer + "_0\n>>> Optimize\n5,1\n");
    remove_tree(folder);
}
