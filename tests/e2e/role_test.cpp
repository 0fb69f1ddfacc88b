// The process's role, decided from its executable name and environment, in real processes.
#include <gtest/gtest.h>

#include "autodump_support.h"
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

    Role run_as(const std::string& name, const std::vector<EnvChange>& env) {
        std::string program = copy_program("role_probe", folder, name);
        // A host starts auto-dump in the user's profile folder: a private one.
        std::vector<EnvChange> all = env;
        all.emplace_back(profile_variable(), join(folder, "profile"));
        RunResult r = run_program(program, {}, all);
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
    const std::vector<EnvChange> plain{{"MIRTHOST", std::nullopt}, {"CodeCoverageAutomation", std::nullopt}};
};

}  // namespace

TEST_F(RoleTest, DefaultHostNameInAnyCase) {
    EXPECT_TRUE(run_as("pelvanor.exe", plain).host);
    EXPECT_TRUE(run_as("PELVANOR.EXE", plain).host);
    EXPECT_FALSE(run_as("pelvanor2.exe", plain).host);
}

TEST_F(RoleTest, MirtHostNamesAnotherExecutable) {
    std::vector<EnvChange> env{{"MIRTHOST", std::string("Studio.EXE")}, {"CodeCoverageAutomation", std::nullopt}};
    EXPECT_TRUE(run_as("studio.exe", env).host);
    EXPECT_TRUE(run_as("sTuDiO.eXe", env).host);
    EXPECT_FALSE(run_as("pelvanor.exe", env).host);
}

TEST_F(RoleTest, AutomationModeWithAnyValue) {
    EXPECT_FALSE(run_as("pelvanor.exe", plain).automation);
    std::vector<EnvChange> zero{{"MIRTHOST", std::nullopt}, {"CodeCoverageAutomation", std::string("0")}};
    Role role = run_as("pelvanor.exe", zero);
    EXPECT_TRUE(role.automation);
    EXPECT_TRUE(role.host);
}

TEST_F(RoleTest, ShellIsRecognisedEvenWhenItIsTheHost) {
    Role shell = run_as("Explorer.exe", plain);
    EXPECT_TRUE(shell.shell);
    EXPECT_FALSE(shell.host);
    std::vector<EnvChange> env{{"MIRTHOST", std::string("explorer.exe")}, {"CodeCoverageAutomation", std::nullopt}};
    Role both = run_as("explorer.exe", env);
    EXPECT_TRUE(both.shell);
    EXPECT_TRUE(both.host);
}

TEST_F(RoleTest, DataNameHoldsNamePidAndMinusOne) {
    Role role = run_as("worker.exe", plain);
    ASSERT_EQ(role.data_name.rfind("mirt_worker.exe_data_", 0), 0u) << role.data_name;
    std::string tail = role.data_name.substr(strlen("mirt_worker.exe_data_"));
    size_t underscore = tail.find('_');
    ASSERT_NE(underscore, std::string::npos);
    EXPECT_GT(std::stoul(tail.substr(0, underscore)), 0u);
    EXPECT_EQ(tail.substr(underscore), "_-1");
}
