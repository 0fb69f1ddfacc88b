// Tests of auto-dump: configuration file, counter files, numbered output files. The POSIX INI
// reader must read the configuration as the Windows profile calls do.
#include <climits>
#include <filesystem>
#include <tuple>

#include "autodump/autodump.h"
#include "core/point_table.h"
#include "tests/core/runtime_fixture.h"

using namespace mirt;
using namespace mirt_test;
namespace fs = std::filesystem;

namespace {

class AutodumpTest : public RuntimeTest {
protected:
    void SetUp() override {
        RuntimeTest::SetUp();
        computer = computer_name();
        ASSERT_FALSE(computer.empty());
        use_profile("profile");
    }
    void TearDown() override {
        stop_autodump();
        RuntimeTest::TearDown();
    }
    // A profile of its own for each configuration: Windows caches a read INI file until its
    // modification time changes, which a quick rewrite may not do.
    void use_profile(const std::string& name) {
        profile = join(folder, name);
        coverage = join(profile, "coverage");
        datafiles = join(join(coverage, "datafiles"), "UNKNOWN");
        config = join(coverage, "mirt_autodump_config.ini");
        testcase_counter = join(coverage, "mirt_autodump_testcase_ID.dat");
        outfile_counter = join(coverage, "mirt_autodump_outfile_ID.dat");
        set_environment(profile_variable(), profile);
        autodump_settings = AutodumpSettings{};
    }
    // The settings that the configuration text gives, loaded onto the initial ones.
    AutodumpSettings loaded(const std::string& text) {
        use_profile("profile" + std::to_string(++profiles));
        fs::create_directories(coverage);
        write_file(config, text);
        EXPECT_TRUE(compute_autodump_paths());
        load_autodump_configuration();
        EXPECT_EQ(read_file(config), text) << "an existing configuration is never written";
        return autodump_settings;
    }
    // The test-case and output-file counters.
    std::pair<std::string, std::string> counters() const {
        return {read_file(testcase_counter), read_file(outfile_counter)};
    }
    static std::pair<std::string, std::string> counted(uint32_t test_cases, uint32_t files) {
        return {counter_bytes(test_cases), counter_bytes(files)};
    }
    std::string output_file(int n) const {
        return join(datafiles, "UNKNOWN_" + computer + "_" + std::to_string(n) + ".out");
    }
    std::string group(int test_case, const std::string& lines) const {
        return "=== " + computer + "_" + std::to_string(test_case) + "\n>>> Optimize\n" + lines;
    }

    std::string profile, coverage, datafiles, config, testcase_counter, outfile_counter, computer;
    int profiles = 0;
};

}  // namespace

// Memory keeps its values after writing the configuration, so the first
// run's limit stays 2465792 bytes; the next start reads 2 MiB.
TEST_F(AutodumpTest, FirstStartWritesTheConfigurationAndTheNextStartReadsIt) {
    start_autodump();
    EXPECT_EQ(lines_of(read_file(config)),
              (std::vector<std::string>{"[MIRT_AUTODUMP]", "TIMEINTERVAL=5", "MAXFILESIZE=2",
                                        "AUTODUMP=1"}));
    const AutodumpSettings& s = autodump_settings;
    EXPECT_EQ(std::make_tuple(s.interval, s.max_file_size, s.dump_switch, s.timer_running),
              std::make_tuple(300000, 2465792u, 1, true));
    EXPECT_TRUE(fs::is_directory(datafiles));
    EXPECT_FALSE(file_exists(testcase_counter) || file_exists(outfile_counter));

    std::string written = read_file(config);
    stop_autodump();
    EXPECT_FALSE(s.timer_running);
    autodump_settings = AutodumpSettings{};
    start_autodump();
    EXPECT_EQ(std::make_tuple(s.interval, s.max_file_size), std::make_tuple(300000, 2097152u));
    EXPECT_EQ(read_file(config), written);
}

TEST_F(AutodumpTest, ConfigurationValuesAndTheirLimits) {
    const std::string section = "[MIRT_AUTODUMP]\n";
    const struct {
        std::string text;
        int32_t interval;
        uint32_t size;
        int32_t dump_switch;
    } cases[] = {
        {section + "TIMEINTERVAL=1\nMAXFILESIZE=3\nAUTODUMP=7\n", 60000, 3145728, 7},
        {section + "TIMEINTERVAL=0\nMAXFILESIZE=0\nAUTODUMP=0\n", 300000, 2465792, 0},
        {section + "TIMEINTERVAL=-4\nMAXFILESIZE=-1\nAUTODUMP=-1\n", 300000, 2465792, -1},
        {section + "TIMEINTERVAL=abc\nMAXFILESIZE=\nAUTODUMP=on\n", 300000, 2465792, 0},
        {section + "MAXFILESIZE=4096\n", 300000, 0, 0},  // 4096 MiB wraps to 0 bytes
        {section + "MAXFILESIZE=4097\nAUTODUMP=1\n", 300000, 1048576, 1},
        {section + "TIMEINTERVAL=35791\nAUTODUMP=1\n", 2147460000, 2465792, 1},
        // Beyond the 32-bit milliseconds the longest interval is taken.
        {section + "TIMEINTERVAL=35792\n", INT32_MAX, 2465792, 0},
        {section + "TIMEINTERVAL=99999999999\nAUTODUMP=99999999999\n", INT32_MAX, 2465792, INT32_MAX},
        {"[mirt_autodump]\r\n  timeinterval = 2 \r\nAutoDump=1\r\n", 120000, 2465792, 1},
        {section + "no key\nTIMEINTERVAL=\"3\"\nAUTODUMP='2'\n", 180000, 2465792, 2},  // one pair of quotes
        {"[OTHER]\nTIMEINTERVAL=9\nAUTODUMP=1\n" + section + "MAXFILESIZE=1\n", 300000, 1048576, 0},
    };
    for (const auto& c : cases) {
        AutodumpSettings s = loaded(c.text);
        EXPECT_EQ(std::make_tuple(s.interval, s.max_file_size, s.dump_switch),
                  std::make_tuple(c.interval, c.size, c.dump_switch)) << c.text;
    }
    // A value that is not taken leaves what memory held, not the initial value.
    autodump_settings.interval = 120000;
    load_autodump_configuration();
    EXPECT_EQ(autodump_settings.interval, 120000);
}

TEST_F(AutodumpTest, DumpsNumberTestCasesAndOutputFiles) {
    start_autodump();
    for (int i = 0; i < 2; ++i) mirt_fn(5);
    autodump_timer_callback();
    EXPECT_EQ(read_file(output_file(0)), group(0, "5,2\n"));
    EXPECT_EQ(counters(), counted(1, 1));
    EXPECT_EQ(simple_counts()[5], 0u) << "every tick clears";

    mirt_fn(6);
    autodump_timer_callback();
    std::string first_file = group(0, "5,2\n") + group(1, "6,1\n");
    EXPECT_EQ(read_file(output_file(0)), first_file);
    EXPECT_EQ(counters(), counted(2, 1));

    // A file that has reached the limit is left; the next number is begun.
    autodump_settings.max_file_size = static_cast<uint32_t>(first_file.size());
    mirt_fn(7);
    perform_dump();
    EXPECT_EQ(read_file(output_file(0)), first_file);
    EXPECT_EQ(read_file(output_file(1)), group(2, "7,1\n"));
    EXPECT_EQ(counters(), counted(3, 2));

    // One byte below the limit still takes a whole group.
    autodump_settings.max_file_size = static_cast<uint32_t>(group(2, "7,1\n").size()) + 1;
    perform_dump();
    EXPECT_EQ(read_file(output_file(1)), group(2, "7,1\n") + group(3, "7,1\n"));
    EXPECT_EQ(read_file(outfile_counter), counter_bytes(2));

    // Any switch but 0 dumps, a negative one too; 0 only clears.
    for (int32_t dump_switch : {-1, 0}) {
        autodump_settings.dump_switch = dump_switch;
        mirt_fn(8);
        autodump_timer_callback();
        EXPECT_EQ(simple_counts()[8], 0u);
    }
    EXPECT_EQ(read_file(testcase_counter), counter_bytes(5));
    EXPECT_EQ(read_file(output_file(2)), group(4, "7,1\n8,1\n"));
}

// Counters print as signed numbers: 0xFFFFFFFF names case -1, and an existing candidate -1
// takes the dump of output number 0. A counter file too short to hold a number counts as 0; a
// candidate that cannot be opened as a file counts as full; a counter that can be neither read
// nor written (a folder) gives 0 at every dump, and the dump goes on.
TEST_F(AutodumpTest, CountersAreFourLittleEndianBytes) {
    start_autodump();
    write_file(testcase_counter, counter_bytes(298));
    write_file(outfile_counter, counter_bytes(7));
    mirt_fn(1);
    perform_dump();
    // The candidate 6 does not exist: the dump begins file 7.
    EXPECT_EQ(read_file(output_file(7)), group(298, "1,1\n"));
    EXPECT_EQ(counters(), counted(299, 8));

    write_file(testcase_counter, counter_bytes(0xFFFFFFFFu));
    write_file(outfile_counter, counter_bytes(0));
    write_file(output_file(-1), "");
    perform_dump();
    EXPECT_EQ(read_file(output_file(-1)), group(-1, "1,1\n"));
    EXPECT_EQ(counters(), counted(0, 0));

    write_file(testcase_counter, std::string("\x05\x00", 2));
    write_file(outfile_counter, counter_bytes(1));
    fs::create_directory(output_file(0));
    perform_dump();
    EXPECT_EQ(read_file(output_file(1)), group(0, "1,1\n"));
    EXPECT_EQ(counters(), counted(1, 2));

    remove_file(testcase_counter);
    fs::create_directory(testcase_counter);
    perform_dump();
    perform_dump();
    EXPECT_EQ(read_file(output_file(1)), group(0, "1,1\n") + group(0, "1,1\n") + group(0, "1,1\n"));
    EXPECT_TRUE(fs::is_directory(testcase_counter));
}

// A path that does not fit its 255 characters (undefined where the paths are formed without a
// bound), or a timer that cannot be armed (the process's one timer is taken already) leaves
// auto-dump not started. Only a timer that runs makes the datafiles folder.
TEST_F(AutodumpTest, WhatLeavesAutodumpNotStarted) {
    platform::TimerId other = platform::start_timer(60000, [] {});
    ASSERT_NE(other, 0u);
    start_autodump();
    platform::stop_timer(other);
    EXPECT_FALSE(autodump_settings.timer_running);
    EXPECT_TRUE(file_exists(config));
    EXPECT_FALSE(fs::exists(join(coverage, "datafiles")));

    use_profile(std::string(220, 'p'));
    start_autodump();
    EXPECT_FALSE(autodump_settings.timer_running);
    EXPECT_FALSE(fs::exists(profile));
}
