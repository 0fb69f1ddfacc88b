// collection_fixture.h: a host and its clients as real processes (probe_app under other
// names), in a private temporary folder, for the collection tests.
#ifndef MIRT_COLLECTION_FIXTURE_H
#define MIRT_COLLECTION_FIXTURE_H

#include <gtest/gtest.h>

#include <chrono>
#include <deque>
#include <filesystem>

#include "tests/support/test_support.h"

namespace mirt_test {

class CollectionTest : public ::testing::Test {
protected:
    using Clock = std::chrono::steady_clock;

    // Every copy is made before any of them runs: under Windows the library
    // beside them cannot be replaced while it is loaded.
    void SetUp() override {
        folder = make_temp_folder("collection");
        ASSERT_FALSE(folder.empty());
        temp = path("tmp");
        exit_file = path("exit.out");
        std::filesystem::create_directory(temp);
        env = temp_folder_env(temp);
        // Exit files go to a private path: other programs write the fixed one.
        env.insert(env.end(), {{"MIRTHOST", std::nullopt},
                               {"CodeCoverageAutomation", "1"},
                               {profile_variable(), path("profile")},
                               {"MIRT_EXIT_FILE", exit_file}});
        for (const char* name : {"pelvanor.exe", "client.exe"})
            copy_program("probe_app", folder, name);
    }
    void TearDown() override {
        for (Child& c : children) kill_program(c);
        remove_tree(folder);
    }

    std::string path(const std::string& name) const { return join(folder, name); }
    // A copy of probe_app, or another test program, its output in <log>.
    Child& start(const std::string& name, const std::vector<std::string>& args,
                 const std::string& log = "") {
        std::string program =
            file_exists(path(name)) ? path(name) : join(program_folder(), executable_name(name));
        children.push_back(start_program(program, args, env, log.empty() ? "" : path(log)));
        EXPECT_TRUE(children.back().started) << name;
        return children.back();
    }
    // The host (whether it became ready): on "go" one write to "out", "written",
    // and on "end" its end.
    bool start_host() {
        host = &start("pelvanor.exe", {"noexit", "touch", path("host.ready"), "waitfile",
                                       path("go"), "write", path("out"), "touch", path("written"),
                                       "waitfile", path("end")}, "host.log");
        return wait_for("host.ready");
    }
    // The host's write, asked for and made.
    ::testing::AssertionResult host_writes(int seconds = 60) {
        signal("go");
        if (wait_for("written", seconds)) return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure() << "no write: " << read_file(path("host.log"));
    }
    bool wait_for(const std::string& name, int seconds = 60) {
        return wait_for_file(path(name), seconds);
    }
    void signal(const std::string& name) { write_file(path(name), ""); }
    double seconds_since(Clock::time_point then) const {
        return std::chrono::duration<double>(Clock::now() - then).count();
    }
    // Data files left in the private temporary folder: "_Y" final, "_N" requested.
    int data_files(char flag) const {
        int n = 0;
        for (const auto& entry : std::filesystem::directory_iterator(data_file_folder(temp))) {
            std::string name = entry.path().filename().string();
            n += name.rfind("mirt_", 0) == 0 &&
                 name.substr(name.size() - 2) == std::string("_") + flag;
        }
        return n;
    }
    bool no_final_files_within(int seconds) {
        return pump_until([&] { return data_files('Y') == 0; }, seconds * 1000u);
    }

    std::string folder, temp, exit_file;
    std::vector<EnvChange> env;
    std::deque<Child> children;  // references to them stay valid
    Child* host = nullptr;
};

}  // namespace mirt_test

#endif
