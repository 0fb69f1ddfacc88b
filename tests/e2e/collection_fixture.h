// collection_fixture.h: a host and its clients as real processes (probe_app under other
// names), in a private temporary folder, for the fault and load tests of collection.
#ifndef MIRT_COLLECTION_FIXTURE_H
#define MIRT_COLLECTION_FIXTURE_H

#include <gtest/gtest.h>

#include <chrono>
#include <deque>
#include <filesystem>
#include <functional>
#include <map>
#include <thread>

#include "test_support.h"

namespace mirt_test {

// Positive counts of an output file, "file:line" -> count, summed over its record
// groups; numbered counters are "#:id".
inline std::map<std::string, long long> line_counts_in(const std::string& text) {
    std::map<std::string, long long> counts;
    std::string file = "#";
    for (const std::string& line : lines_of(text)) {
        if (line.rfind("### ", 0) == 0) file = line.substr(4);
        else if (line.rfind("=== ", 0) == 0) file = "#";
        else if (line.rfind("--- ", 0) == 0 || line.rfind(">>> ", 0) == 0) continue;
        else if (size_t comma = line.find(','); comma != std::string::npos) {
            long long n = std::stoll(line.substr(comma + 1));
            if (n > 0) counts[file + ":" + line.substr(0, comma)] += n;
        }
    }
    return counts;
}

class CollectionTest : public ::testing::Test {
protected:
    using Clock = std::chrono::steady_clock;

    void SetUp() override {
        folder = make_temp_folder(tag);
        ASSERT_FALSE(folder.empty());
        temp = join(folder, "tmp");
        std::filesystem::create_directory(temp);
        env = temp_folder_env(temp);
        env.emplace_back("MIRTHOST", std::nullopt);
        env.emplace_back("CodeCoverageAutomation", std::string("1"));
        env.emplace_back(profile_variable(), join(folder, "profile"));
        // All copies are made before any of them runs: under Windows the
        // library beside them cannot be replaced while it is loaded.
        for (const std::string& name : programs) copy_program("probe_app", folder, name);
    }
    void TearDown() override {
        for (Child& c : children) kill_program(c);
        remove_tree(folder);
    }

    std::string path(const std::string& name) const { return join(folder, name); }
    Child& start(const std::string& name, const std::vector<std::string>& args, const std::string& log = "") {
        children.push_back(start_program(path(name), args, env, log.empty() ? "" : path(log)));
        EXPECT_TRUE(children.back().started) << name;
        return children.back();
    }
    // The host: ready, then on "go" one write to "out", "written", and on "end" its end.
    Child& start_host() {
        return start("pelvanor.exe", {"noexit", "touch", path("host.ready"), "waitfile", path("go"), "write",
                                      path("out"), "touch", path("written"), "waitfile", path("end")},
                     "host.log");
    }
    static bool wait_until(const std::function<bool()>& done, int seconds = 60) {
        auto end = Clock::now() + std::chrono::seconds(seconds);
        while (!done()) {
            if (Clock::now() > end) return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return true;
    }
    bool wait_for(const std::string& name, int seconds = 60) { return wait_for_file(path(name), seconds); }
    void signal(const std::string& name) { write_file(path(name), ""); }
    // Data files left in the private temporary folder: "_Y" final, "_N" requested.
    int data_files(char flag) const {
        int n = 0;
        for (const auto& entry : std::filesystem::directory_iterator(data_file_folder(temp))) {
            std::string name = entry.path().filename().string();
            if (name.rfind("mirt_", 0) == 0 && name.size() > 2 && name.substr(name.size() - 2) == std::string("_") + flag)
                ++n;
        }
        return n;
    }

    // Set by a derived fixture's constructor: the folder's tag and the names
    // under which probe_app is copied.
    std::string tag = "collection";
    std::vector<std::string> programs = {"pelvanor.exe", "client.exe", "victim.exe"};
    std::string folder, temp;
    std::vector<EnvChange> env;
    std::deque<Child> children;  // references to them stay valid
};

}  // namespace mirt_test

#endif
