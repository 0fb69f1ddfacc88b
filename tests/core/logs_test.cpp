// Tests of the index file, the trace file, the error log and the path operations.
#include <cstring>

#include "core/paths.h"
#include "tests/core/runtime_fixture.h"

using namespace mirt;
using mirt_test::join;
using mirt_test::write_file;

// 1,022 characters are taken at a time: the tail ",7" of a longer line is
// read as a line of its own, naming the empty point at line 7. Listed points
// start with a count of 1 (a repeated listing adds one).
TEST_F(RuntimeTest, IndexFileNumbersListedPointsAndAppendsNewOnes) {
    write_file(index_path, "a.cpp,10\nb.cpp,20\na.cpp,10\n,5\nno comma here\n" +
                               std::string(1022, 'x') + ",7\nz.cpp,8\n");
    // a.cpp,10 = 1, b.cpp,20 = 2, ",5" (empty name) = 3, ",7" = 4, z.cpp,8 = 5
    const struct { const char* name; int line, number; } points[] = {
        {"c.cpp", 30, 6}, {"a.cpp", 10, 1}, {"", 5, 3}, {"", 7, 4}, {"z.cpp", 8, 5}};
    for (auto [name, line, number] : points)
        EXPECT_EQ(mirt_obj(const_cast<char*>(name), line).index, number) << name << "," << line;
    EXPECT_EQ(point_hit_table[home_slot(name_fold("a.cpp"), 10)].count, 3u);
    EXPECT_EQ(point_entry_count, 6);
    EXPECT_EQ(index_lines().back(), "c.cpp,30");
    EXPECT_EQ(index_lines().size(), 8u);
}

// A point found again at the same address counts into the slot it found
// before, as long as the slot still holds its text; a buffer that holds
// another name now is another point, and a clear starts the search afresh.
TEST_F(RuntimeTest, PointsConstructedAgainFromOneBufferFollowItsText) {
    write_file(index_path, "a.cpp,5\n");
    static char buffer[] = "a.cpp";
    for (int i = 0; i < 3; ++i) EXPECT_EQ(mirt_obj(buffer, 5).index, 1);
    // Listed, then three hits.
    EXPECT_EQ(point_hit_table[home_slot(name_fold("a.cpp"), 5)].count, 4u);
    memcpy(buffer, "b.cpp", 5);
    EXPECT_EQ(mirt_obj(buffer, 5).index, 2);
    EXPECT_EQ(mirt_obj(buffer, 5).index, 2);
    mirt_clear_coverage_data();
    EXPECT_EQ(mirt_obj(buffer, 5).index, 3);
    EXPECT_EQ(index_lines(), (std::vector<std::string>{"a.cpp,5", "b.cpp,5", "b.cpp,5"}));
}

// The number is not used up: both points get 0 and the counter stays.
TEST_F(RuntimeTest, IndexFileThatCannotBeOpenedForAppendingIsReported) {
    std::string unreachable = join(join(folder, "missing"), "index.txt");
    index_file_path = unreachable.c_str();
    testing::internal::CaptureStdout();
    EXPECT_EQ(mirt_obj("a.cpp", 1).index, 0);
    EXPECT_EQ(mirt_obj("b.cpp", 2).index, 0);
    const std::string cannot = "Error: can't fprintf to " + unreachable + "\n";
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Can't open the index file in append mode.\n" + cannot + cannot);
    EXPECT_TRUE(logged(765, "Can't open the index file in append mode."));
    EXPECT_TRUE(logged(828, "can't fprintf to index file"));
    EXPECT_EQ(point_counter, 1);
    EXPECT_EQ(point_entry_count, 2);
}

// Records are three bytes, little-endian; named-point scopes trace their
// number on entry and its negation on leaving.
TEST_F(RuntimeTest, TraceRecordsOfNamedPointScopes) {
    for (int record : {70000, -70000, 1}) trace_append(record);
    {
        mirt_obj outer("outer.cpp", 1);
        { mirt_obj inner("inner.cpp", 2); }
        mirt_obj copy("inner.cpp", 2);
        copy = outer;  // assignment copies the number and traces nothing
    }
    trace_flush();
    // +1 +2 -2 +2 (the copy's construction) -1 (the copy now holds 1) -1
    EXPECT_EQ(trace_contents(), std::string("\x70\x11\x01\x90\xEE\xFE\x01\0\0\x01\0\0\x02\0\0"
                                            "\xFE\xFF\xFF\x02\0\0\xFF\xFF\xFF\xFF\xFF\xFF", 27));
}

TEST_F(RuntimeTest, TenThousandthTraceRecordWritesThirtyThousandBytes) {
    for (int i = 1; i < trace_buffer_records; ++i) trace_append(i);
    EXPECT_EQ(trace_record_count, trace_buffer_records - 1);
    trace_append(trace_buffer_records);
    EXPECT_EQ(trace_record_count, 0);
    std::string bytes = trace_contents();
    ASSERT_EQ(bytes.size(), 30000u);
    EXPECT_EQ(bytes.substr(29997), std::string("\x10\x27\x00", 3));  // 10,000 = 0x2710
}

// The failed records are dropped; every later write reports the file again.
TEST_F(RuntimeTest, TraceFileThatCannotBeCreatedIsReportedAndNotRetried) {
    std::string unreachable = join(join(folder, "missing"), "trace.out");
    trace_file_name = unreachable.c_str();
    testing::internal::CaptureStdout();
    trace_append(1);
    trace_append(2);
    trace_flush();
    EXPECT_EQ(trace_handle, platform::invalid_file);
    EXPECT_EQ(trace_record_count, 0);
    { mirt_obj scope("s.cpp", 1); }
    write();
    write();
    const std::string create = "Error: can't create the " + unreachable + " file.\n",
                      no_write = "Error: can't write to the " + unreachable + " file.\n",
                      no_close = "Error: can't close the " + unreachable + " file.\n";
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              create + no_write + no_write + no_close + no_write + no_close);
    EXPECT_TRUE(logged(1488, "can't create file for tracing"));
    EXPECT_TRUE(logged(1508, "can't fprintf to trace file"));
}

TEST_F(RuntimeTest, ErrorLogAppendsLinesAndMakesItsFolder) {
    std::string nested = join(join(folder, "logs"), "mirt_err.txt");
    mirt::error_log_path = nested.c_str();
    write_error_log("core.cpp", 12, "first");
    close_error_log();
    write_error_log("other.cpp", 7, "second");
    EXPECT_EQ(mirt_test::lines_of(mirt_test::read_file(nested)),
              (std::vector<std::string>{"[core.cpp,12]first", "[other.cpp,7]second"}));
}

TEST(Paths, DirectoryOf) {
    const std::pair<const char*, const char*> cases[] = {
        {"c:/temp/mirt_err.txt", "c:/temp"}, {"c:\\temp\\sub/out.txt", "c:\\temp\\sub"},
        {"mirt.out", ""}, {"/out.txt", ""}, {"//out.txt", ""} /* a lone separator is no folder */,
        {"a/b/", "a/b"}, {nullptr, ""}};
    for (const auto& [path, folder] : cases) {
        std::string dir = "stale";
        EXPECT_EQ(directory_of(path, &dir), path != nullptr);
        EXPECT_EQ(dir, folder) << path;
    }
    EXPECT_FALSE(directory_of("x/y", nullptr));
}
