// Auto-dump in real host processes: what start leaves in the profile folder, the settings
// it takes from there, and dumps driven by the timer (through the message loop on Windows).
#include <gtest/gtest.h>

#include <filesystem>

#include "test_support.h"

using namespace mirt_test;
namespace fs = std::filesystem;

namespace {

class AutodumpE2E : public ::testing::Test {
protected:
    void SetUp() override {
        folder = make_temp_folder("autodump");
        profile = join(folder, "profile");
        coverage = join(profile, "coverage");
        datafiles = join(join(coverage, "datafiles"), "UNKNOWN");
        config = join(coverage, "mirt_autodump_config.ini");
        fs::create_directories(join(folder, "bin"));
    }
    void TearDown() override { remove_tree(folder); }

    // Runs a test program under another executable name, with the profile
    // folder pointed into the test's folder. Returns its output, one "\n"
    // after each line.
    std::string run_as(const std::string& program, const std::string& name, const std::vector<std::string>& args,
                       std::vector<EnvChange> env = {}) {
        env.insert(env.begin(), {{profile_variable(), profile}, {"MIRTHOST", std::nullopt},
                                 {"CodeCoverageAutomation", std::nullopt}});
        RunResult r = run_program(copy_program(program, join(folder, "bin"), name), args, env, folder);
        EXPECT_EQ(r.exit_code, 0) << r.output;
        std::string said;
        for (const auto& line : lines_of(r.output)) said += line + "\n";
        return said;
    }
    std::string host(const std::vector<std::string>& args, std::vector<EnvChange> env = {}) {
        return run_as("runtime_probe", "pelvanor.exe", args, std::move(env));
    }
    uint32_t counter(const std::string& name) {
        std::string bytes = read_file(join(coverage, name));
        EXPECT_EQ(bytes.size(), 4u) << name;
        uint32_t n = 0;
        for (size_t i = bytes.size(); i-- > 0;) n = n << 8 | static_cast<unsigned char>(bytes[i]);
        return n;
    }
    // The files in the one folder under datafiles, which the executable's
    // version names (the test programs differ there: see the Windows tests).
    std::vector<fs::path> dumped_files() {
        std::vector<fs::path> folders, files;
        for (const auto& entry : fs::directory_iterator(join(coverage, "datafiles"))) folders.push_back(entry.path());
        EXPECT_EQ(folders.size(), 1u);
        if (folders.size() == 1)
            for (const auto& entry : fs::directory_iterator(folders[0])) files.push_back(entry.path());
        return files;
    }
    std::string folder, profile, coverage, datafiles, config;
};

size_t count_of(const std::string& text, const std::string& part) {
    size_t n = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
    return n;
}

}  // namespace

TEST_F(AutodumpE2E, RealLibraryStartsInTheHostOnly) {
    run_as("probe_app", "pelvanor.exe", {"noexit"});
    EXPECT_EQ(lines_of(read_text_file(config)),
              (std::vector<std::string>{"[MIRT_AUTODUMP]", "TIMEINTERVAL=5", "MAXFILESIZE=2", "AUTODUMP=1"}));
    ASSERT_TRUE(fs::is_directory(datafiles));
    EXPECT_TRUE(fs::is_empty(datafiles));
    EXPECT_FALSE(file_exists(join(coverage, "mirt_autodump_testcase_ID.dat")));

    // A configuration that exists is read, never written.
    std::string custom = "[MIRT_AUTODUMP]\nTIMEINTERVAL=1\n";
    write_file(config, custom);
    run_as("probe_app", "pelvanor.exe", {"noexit"});
    EXPECT_EQ(read_file(config), custom);

    remove_tree(profile);
    run_as("probe_app", "pelvanor.exe", {"noexit"}, {{"CodeCoverageAutomation", std::string("0")}});
    run_as("probe_app", "worker.exe", {"noexit"});
    EXPECT_FALSE(fs::exists(profile));
    run_as("probe_app", "worker.exe", {"noexit"}, {{"MIRTHOST", std::string("WORKER.exe")}});
    EXPECT_TRUE(file_exists(config));
}

TEST_F(AutodumpE2E, SettingsOfFirstAndLaterStartsAndDetachStopsTheTimer) {
    EXPECT_EQ(host({"attach", "settings", "noexit", "detach", "settings"}),
              "interval=300000 size=2465792 switch=1 running=1\ninterval=300000 size=2465792 switch=1 running=0\n");
    EXPECT_EQ(host({"attach", "settings", "noexit", "detach"}), "interval=300000 size=2097152 switch=1 running=1\n");
    EXPECT_EQ(host({"attach", "settings", "noexit", "detach"}, {{"CodeCoverageAutomation", std::string("")}}),
              "interval=300000 size=2465792 switch=1 running=0\n");
}

TEST_F(AutodumpE2E, TimerDumpsNumberedTestCasesIntoOneFile) {
    EXPECT_EQ(host({"attach", "fn", "5", "interval", "50", "waitdumps", "2", "stop", "noexit", "detach"}), "dumped\n");
    std::string computer = computer_name();
    std::vector<fs::path> files = dumped_files();
    ASSERT_EQ(files.size(), 1u);
    std::string suffix = "_" + computer + "_0.out", name = files[0].filename().string();
    EXPECT_EQ(name.substr(name.size() - std::min(name.size(), suffix.size())), suffix);
    std::string out = read_file(files[0].string());
    std::string first_two = "=== " + computer + "_0\n>>> Optimize\n5,1\n=== " + computer + "_1\n>>> Optimize\n";
    EXPECT_EQ(out.substr(0, first_two.size()), first_two);
    EXPECT_EQ(count_of(out, "\n>>> Optimize\n"), counter("mirt_autodump_testcase_ID.dat"));
    EXPECT_EQ(counter("mirt_autodump_outfile_ID.dat"), 1u);
}

// The process ends while the timer ticks fast: its exit write comes after
// the last tick, and nothing breaks.
TEST_F(AutodumpE2E, DetachWhileTheTimerTicks) {
    remove_file(exit_output_path());
    host({"attach", "interval", "10", "fn", "3", "waitclear", "3", "fn", "4", "detach"});
    std::string exit_file = read_file(exit_output_path());
    EXPECT_EQ(exit_file.rfind("=== ", 0), 0u) << exit_file;
    remove_file(exit_output_path());
}
