// The process's role, decided from its executable name and environment, in real processes.
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/test_support.h"

using namespace mirt_test;

// The host is "pelvanor.exe" or the executable that MIRTHOST names, in any
// case; the shell is Explorer.exe, even when it is the host too; any value
// of CodeCoverageAutomation, even "0", sets automation mode.
TEST(RoleTest, HostShellAndAutomationFromNameAndEnvironment) {
    const std::optional<std::string> none;
    const struct {
        const char* name;
        std::optional<std::string> mirthost, automation;
        int host, shell, automation_mode;
    } cases[] = {
        {"pelvanor.exe", none, none, 1, 0, 0}, {"PELVANOR.EXE", none, none, 1, 0, 0},
        {"pelvanor2.exe", none, none, 0, 0, 0}, {"pelvanor.exe", none, "0", 1, 0, 1},
        {"Explorer.exe", none, none, 0, 1, 0}, {"explorer.exe", "explorer.exe", none, 1, 1, 0},
        {"studioz.exe", "StudioZ.EXE", none, 1, 0, 0},
        {"sTuDiOz.eXe", "StudioZ.EXE", none, 1, 0, 0},
        {"pelvanor.exe", "StudioZ.EXE", none, 0, 0, 0},
    };
    const std::string folder = make_temp_folder("role");
    int runs = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.name) + " MIRTHOST=" + c.mirthost.value_or("-"));
        // A folder of its own for each run (names that differ only in case are one file on
        // Windows), and a private profile folder, where a host starts auto-dump.
        std::string own = join(folder, std::to_string(++runs));
        std::filesystem::create_directory(own);
        RunResult r = run_program(copy_program("runtime_probe", own, c.name), {"attach", "role"},
                                  {{"MIRTHOST", c.mirthost},
                                   {"CodeCoverageAutomation", c.automation},
                                   {profile_variable(), join(folder, "profile")}});
        ASSERT_EQ(r.exit_code, 0) << r.output;
        int host = -1, shell = -1, automation = -1, started = -1;
        ASSERT_EQ(sscanf(r.output.c_str(), "host=%d shell=%d automation=%d roles_started=%d", &host,
                         &shell, &automation, &started), 4) << r.output;
        EXPECT_EQ(std::vector<int>({host, shell, automation, started}),
                  std::vector<int>({c.host, c.shell, c.automation_mode, 1}));
    }
    remove_tree(folder);
}
