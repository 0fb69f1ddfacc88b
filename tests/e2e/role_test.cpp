// The process's role, decided from its executable name and environment, in real processes.
#include <gtest/gtest.h>

#include <filesystem>

#include "test_support.h"

using namespace mirt_test;

namespace {

struct Role {
    bool host, shell, automation;
    std::string data_name;
};

class RoleTest : public ::testing::Test {
protected:
    void SetUp() override { folder = make_temp_folder("role"); }
    void TearDown() override { remove_tree(folder); }

    // Each run gets a folder of its own: names that differ only in case
    // are one file on Windows.
    Role run_as(const std::string& name, const std::vector<EnvChange>& env) {
        std::string own = join(folder, std::to_string(++runs));
        std::filesystem::create_directory(own);
        std::string program = copy_program("runtime_probe", own, name);
        // A host starts auto-dump in the user's profile folder: a private one.
        std::vector<EnvChange> all = env;
        all.emplace_back(profile_variable(), join(folder, "profile"));
        RunResult r = run_program(program, {"attach", "role"}, all);
        EXPECT_EQ(r.exit_code, 0) << r.output;
        Role role{};
        char data_name[256] = "";
        int host = -1, shell = -1, automation = -1, started = -1;
        EXPECT_EQ(sscanf(r.output.c_str(), "host=%d shell=%d automation=%d roles_started=%d data_name=%255s", &host,
                         &shell, &automation, &started, data_name),
                  5)
            << r.output;
        EXPECT_EQ(started, 1);
        role.host = host == 1;
        role.shell = shell == 1;
        role.automation = automation == 1;
        role.data_name = data_name;
        return role;
    }

    std::string folder;
    int runs = 0;
};

}  // namespace

// The host is "pelvanor.exe" or the executable that MIRTHOST names, in any
// case; the shell is Explorer.exe, even when it is the host too; any value
// of CodeCoverageAutomation, even "0", sets automation mode. Every process
// names its data by its executable and process id.
TEST_F(RoleTest, HostShellAndAutomationFromNameAndEnvironment) {
    const std::optional<std::string> none;
    const struct {
        const char* name;
        std::optional<std::string> mirthost, automation;
        bool host, shell, automation_mode;
    } cases[] = {
        {"pelvanor.exe", none, none, true, false, false},
        {"PELVANOR.EXE", none, none, true, false, false},
        {"pelvanor2.exe", none, none, false, false, false},
        {"studio.exe", std::string("Studio.EXE"), none, true, false, false},
        {"sTuDiO.eXe", std::string("Studio.EXE"), none, true, false, false},
        {"pelvanor.exe", std::string("Studio.EXE"), none, false, false, false},
        {"pelvanor.exe", none, std::string("0"), true, false, true},
        {"Explorer.exe", none, none, false, true, false},
        {"explorer.exe", std::string("explorer.exe"), none, true, true, false},
    };
    for (const auto& c : cases) {
        Role role = run_as(c.name, {{"MIRTHOST", c.mirthost}, {"CodeCoverageAutomation", c.automation}});
        std::string tag = std::string(c.name) + " MIRTHOST=" + c.mirthost.value_or("-");
        EXPECT_EQ(role.host, c.host) << tag;
        EXPECT_EQ(role.shell, c.shell) << tag;
        EXPECT_EQ(role.automation, c.automation_mode) << tag;
        // The data name: "mirt_", the executable's name, "_data_", the process id and -1.
        std::string prefix = "mirt_" + std::string(c.name) + "_data_";
        ASSERT_EQ(role.data_name.rfind(prefix, 0), 0u) << role.data_name;
        std::string tail = role.data_name.substr(prefix.size());
        ASSERT_NE(tail.find('_'), std::string::npos) << role.data_name;
        EXPECT_GT(std::stoul(tail.substr(0, tail.find('_'))), 0u);
        EXPECT_EQ(tail.substr(tail.find('_')), "_-1");
    }
}
