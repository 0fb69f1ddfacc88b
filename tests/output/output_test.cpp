// Tests of the coverage output: whole record groups compared byte for byte.
#include <algorithm>

#include "output/emit.h"
#include "core/modules.h"
#include "tests/core/runtime_fixture.h"
#include "core/source_lines.h"

using namespace mirt;
using mirt_test::read_file;

namespace {

class OutputTest : public RuntimeTest {
protected:
    void SetUp() override {
        RuntimeTest::SetUp();
        mirt_set_test_name("T", 1, "");
    }
};

// Makes the n-th formatted line from now fail (0 is the next one).
int lines_before_failure;
int failing_vprintf(FILE* stream, const char* format, va_list args) {
    if (lines_before_failure-- == 0) return -1;
    return vfprintf(stream, format, args);
}

}  // namespace

// Simple counters are written from 1 on without headings; counter 0 counts but is never
// written; ids out of range are dropped; a write appends, making missing folders on the way.
// (A header without a test name: OutputE2E.ExitFileFollowsTheShutdownSwitch.)
TEST_F(OutputTest, SimpleCountersAndWhenTheFileIsMade) {
    mirt_clear_coverage_data();  // before any probe: every store stays absent
    EXPECT_EQ(simple_counters, nullptr);
    mirt_write_coverage_data(out_path.c_str());
    EXPECT_FALSE(mirt_test::file_exists(out_path)) << "nothing recorded: no file";
    mirt_write_coverage_data(nullptr);  // no path: nothing at all
    EXPECT_EQ(mirt_fn(0), 0);
    EXPECT_EQ(write(), "=== T\n>>> unknown\n");
    for (int id : {5, 5, 5, 999999, 1000000, -1}) EXPECT_EQ(mirt_fn(id), 0);
    EXPECT_EQ(simple_counters[0], 1u);
    const std::string group = "=== T\n>>> unknown\n5,3\n999999,1\n";
    EXPECT_EQ(write(), "=== T\n>>> unknown\n" + group);
    std::string nested =
        mirt_test::join(mirt_test::join(mirt_test::join(folder, "a"), "b"), "c.out");
    mirt_write_coverage_data(nested.c_str());
    EXPECT_EQ(read_file(nested), group);
}

// The point section sorts by key text and line; the source-line section
// sorts its files and skips zero counts.
TEST_F(OutputTest, LocalPointAndSourceLineSectionsSortByText) {
    static char xa1[] = "x/a.cpp", xa2[] = "x/a.cpp";  // one text at two addresses
    mirt_fn("Src/app/z.cpp", 4);  // its directory differs from the next key's only in case
    mirt_fn("src/app/util.cpp", 3);
    for (int line : {10, 10, 2}) mirt_fn("src/app/main.cpp", line);
    mirt_fn("C:\\work\\a.cpp", 1);
    mirt_fn(xa1, 5);
    mirt_fn(xa2, 5);
    for (int line : {7, 7, -1}) mirt_fn2("src/b.cpp", line);
    mirt_fn2("src/a.cpp", 3);
    mirt_fn2("Src/c.cpp", 1);
    mirt_fn2("Noslash.cpp", 4);
    file_line_table().add_count("src/b.cpp", 9, 9, 0);  // a line with no hits
    file_line_table().file_entry("zero/z.cpp", 10);     // a file with no lines
    EXPECT_EQ(write(),
              "=== T\n>>> unknown\n"
              "--- C:\\work\\a.cpp\n### C:\\work\\a.cpp\n1,1\n"
              "--- Src/app\n### z.cpp\n4,1\n"
              "--- src/app\n### main.cpp\n2,1\n10,2\n### util.cpp\n3,1\n"
              "--- x\n### a.cpp\n5,1\n5,1\n"
              "--- Noslash.cpp\n### Noslash.cpp\n4,1\n"
              "--- Src\n### c.cpp\n1,1\n"
              "--- src\n### a.cpp\n3,1\n### b.cpp\n-1,1\n7,2\n");
    // The table is left compacted and sorted at its front.
    EXPECT_STREQ(reinterpret_cast<const char*>(point_hit_table[0].key), "C:\\work\\a.cpp");
    EXPECT_EQ(point_hit_table[3].line, 10);
}

// Points far apart in the table, the last slot among them: a write sees
// every one, the next write sees the copies that compaction moved to the
// front beside the stale ones, and a clear leaves the whole table zero.
TEST_F(OutputTest, PointsAnywhereInTheTableAreWrittenAndCleared) {
    static char a[] = "d1/a.cpp", b[] = "d2/b.cpp", c[] = "d3/c.cpp";
    char* keys[] = {a, b, c};
    const uint32_t targets[] = {point_slot_mask, point_table_slots / 2 + 5,
                                3 * point_table_slots / 4};
    for (int i = 0; i < 3; ++i) {
        int32_t line = 1;  // 257 is odd: some line below 2^20 lands on any slot
        while (home_slot(reinterpret_cast<uintptr_t>(keys[i]), line) != targets[i]) ++line;
        c_mirt_fn(keys[i], line);
    }
    std::string first = write();
    EXPECT_EQ(std::count(first.begin(), first.end(), '\n'), 2 + 3 * 3) << first;
    std::string second = write().substr(first.size());
    EXPECT_EQ(std::count(second.begin(), second.end(), '\n'), 2 + 3 * 2 + 6) << second;
    mirt_clear_coverage_data();
    const auto* bytes = reinterpret_cast<const unsigned char*>(point_hit_table);
    const size_t size = sizeof(PointHitEntry) * point_table_slots;
    EXPECT_EQ(static_cast<size_t>(std::count(bytes, bytes + size, 0)), size);
}

TEST_F(OutputTest, MergedPointSectionGroupsByTextAndFoldsDirectoryCase) {
    static char xa1[] = "x/a.cpp", xa2[] = "x/a.cpp";
    mirt_fn(xa1, 5);
    mirt_fn(xa2, 5);
    add_merged_point(merged_point("c:/work/b.cpp", 2, 1));
    add_merged_point(merged_point("C:/Work/a.cpp", 1, 4));
    add_merged_point(merged_point("x/a.cpp", 5, 10));
    EXPECT_EQ(write(),
              "=== T\n>>> unknown\n"
              "--- C:/Work\n### a.cpp\n1,4\n### b.cpp\n2,1\n"
              "--- x\n### a.cpp\n5,12\n");
    EXPECT_EQ(merged_points().size(), 3u);  // the table's slots were taken out again
}

// The static section: counts above zero, by line number, read from the callers' own tables at
// the write (uncopied), every registration apart. The module section: a module's variants and
// the records loaded from clients summed per line, lines ascending; a single registration
// keeps its own order. The registry holds copies of the lines: the caller's may change after.
TEST_F(OutputTest, StaticAndModuleSectionsWriteTheRegisteredTables) {
    static int two_lines[] = {10, 20, 30}, one_lines[] = {1, 2}, three_lines[] = {5}, four_lines[] = {6, 7};
    static long long two_counts[3], one_counts[2], three_counts[1], four_counts[2];
    EXPECT_EQ(mirt_reg("b/two.cpp", 3, two_lines, two_counts), 0);
    EXPECT_EQ(c_mirt_reg("b/two.cpp", 3, two_lines, two_counts), 0);  // two registrations
    EXPECT_EQ(c_mirt_reg("A/one.cpp", 2, one_lines, one_counts), 0);
    mirt_reg("a/three.cpp", 1, three_lines, three_counts);
    mirt_reg("a/four.cpp", 2, four_lines, four_counts);
    two_counts[1] = 3;
    three_counts[0] = -2;
    four_counts[0] = 1;
    four_counts[1] = 2;
    int x_lines[] = {3, 1}, x_other[] = {1, -4}, y_lines[] = {8}, z_lines[] = {1}, w_lines[] = {5, 2};
    long long* xt = mirt_reg2("m/x.cpp", 2, x_lines);
    long long* xv = mirt_reg2("m/x.cpp", 2, x_other);
    mirt_reg2("M/y.cpp", 1, y_lines);
    mirt_reg2("m/z.cpp", 1, z_lines);
    long long* wt = mirt_reg2("m/w.cpp", 2, w_lines);
    xt[0] = 2;
    xv[0] = 5;
    xv[1] = 1;
    wt[0] = wt[1] = 1;
    ModuleRecord* from_client = create_module_record("M/y.cpp", 1, y_lines);
    from_client->counters[0] = 6;
    register_loaded_record(from_client);  // y counts only through this record
    x_lines[0] = w_lines[0] = 99;
    EXPECT_EQ(write(), "=== T\n>>> unknown\n--- a\n### four.cpp\n6,1\n7,2\n--- b\n### two.cpp\n20,3\n### two.cpp\n20,3\n"
                       "--- M\n### y.cpp\n8,6\n### w.cpp\n5,1\n2,1\n### x.cpp\n-4,1\n1,5\n3,2\n");
    EXPECT_STREQ(static_registrations()[0].name, "A/one.cpp");  // left sorted by name
    EXPECT_EQ(module_names(), (std::vector<std::string>{"M/y.cpp", "m/w.cpp", "m/x.cpp", "m/z.cpp"}));
}

// A clear zeroes every count and keeps every structure: the tables handed
// out stay valid, the test name stays, points merged from clients and records
// loaded from them go. Every claimed slot still counts towards the cap.
TEST_F(OutputTest, ClearZeroesEveryCountAndKeepsEveryStructure) {
    static char key[] = "d/k.cpp";
    static int lines[] = {5, 6}, other[] = {7};
    static long long own[] = {3, 4};
    mirt_set_test_name("T", 1, "label");
    mirt_obj named("d/p.cpp", 1);
    mirt_fn(key, 2);
    mirt_fn(42);
    mirt_reg("d/s.cpp", 2, lines, own);
    long long* table = mirt_reg2("d/m.cpp", 2, lines);
    long long* variant = mirt_reg2("d/m.cpp", 1, other);
    table[0] = 9;
    variant[0] = 2;
    ModuleRecord* attached = create_module_record("d/m.cpp", 1, other);
    attached->counters[0] = 8;
    register_loaded_record(attached);
    mirt_fn2("d/f.cpp", 3);
    add_merged_point(merged_point("d/client.cpp", 4, 6));

    c_mirt_clear_coverage_data();
    const std::string first = write();
    EXPECT_EQ(first, "=== T\n>>> label\n");
    EXPECT_TRUE(module_registry().at("d/m.cpp")->attached.empty());
    EXPECT_EQ(point_entry_count, 2);
    EXPECT_EQ(mirt_reg2("d/m.cpp", 2, lines), table);
    EXPECT_EQ(mirt_reg2("d/m.cpp", 1, other), variant);
    table[1] += 1;
    variant[0] += 1;
    own[1] = 1;
    mirt_fn2("d/f.cpp", 3);
    mirt_fn(key, 2);
    mirt_fn(42);
    EXPECT_EQ(write().substr(first.size()),
              first + "--- d\n### k.cpp\n2,1\n--- d\n### f.cpp\n3,1\n42,1\n--- d\n### s.cpp\n6,1\n"
                      "--- d\n### m.cpp\n6,1\n7,1\n");
}

// One line of each section. The sections come in their fixed order, each with its own headings,
// and a write resets nothing: the next one appends the totals so far (the point's slot moved to
// the table's front in the first write, and its stale copy at home is listed too). Then each
// formatted line that fails, counted from the header, gives its error log line; the printed
// text names the output path only where marked so, "mirt.out" elsewhere.
TEST_F(OutputTest, SectionsInTheirOrderAndEveryFailingLineReportedWithItsSourceLine) {
    static int lines[] = {4};
    static long long own[] = {0};
    mirt_reg("d/s.cpp", 1, lines, own);
    long long* table = mirt_reg2("d/m.cpp", 1, lines);
    auto record = [&](bool merged) {
        mirt_clear_coverage_data();
        own[0] = 2;
        table[0] = 3;
        mirt_fn2("d/f.cpp", 6);
        mirt_fn("d/p.cpp", 8);
        mirt_fn(12);
        if (merged) add_merged_point(merged_point("e/q.cpp", 9, 1));
    };
    record(false);
    const std::string group = "=== T\n>>> unknown\n--- d\n### p.cpp\n8,1\n--- d\n### f.cpp\n6,1\n"
                              "12,1\n--- d\n### s.cpp\n4,2\n--- d\n### m.cpp\n4,3\n";
    EXPECT_EQ(write(), group);
    mirt_fn(12);
    std::string next = group;
    next.replace(next.find("12,1"), 4, "12,2");
    next.replace(next.find("8,1"), 3, "8,1\n8,1");
    EXPECT_EQ(write(), group + next);

    const std::string to_file = "can't fprintf to file", to_out = "can't fprintf to mirt.out", to_out_dot = to_out + ".";
    // A failing section line ends only its own section; a failing counter line skips the two sections after it.
    const char* const section_ended = "=== T\n>>> unknown\n--- d\n### p.cpp\n--- d\n### f.cpp\n6,1\n12,1\n--- d\n### s.cpp\n"
                                      "4,2\n--- d\n### m.cpp\n4,3\n";
    const char* const counter_failed = "=== T\n>>> unknown\n--- d\n### p.cpp\n8,1\n--- d\n### f.cpp\n6,1\n";
    const struct {
        bool merged;  // a point from a client makes the point section the merged one
        int line_number, source_line;
        std::string message;
        bool names_path;
        const char* written = nullptr;  // what the file then holds, where checked
    } cases[] = {
        {false, 0, 1202, to_file, true}, {false, 1, 1328, to_file, false}, {false, 2, 1337, to_file, false},
        {false, 3, 1346, to_file, false, section_ended}, {true, 1, 1417, to_file, false},
        {true, 2, 1427, to_file, false}, {true, 6, 1436, to_file, false},  // the count of the second key
        {false, 4, 280, to_out, false}, {false, 5, 288, to_out, false}, {false, 6, 295, to_out, false},
        {false, 7, 1222, to_file, true, counter_failed}, {false, 8, 1065, to_out_dot, false},
        {false, 9, 1073, to_out_dot, false}, {false, 10, 1080, to_out_dot, false},
        {false, 11, 1113, to_out_dot, false}, {false, 12, 1122, to_out_dot, false},
        {false, 13, 1131, to_out_dot, false},
    };
    for (const auto& c : cases) {
        record(c.merged);
        mirt_test::remove_file(out_path);
        close_error_log();
        mirt_test::remove_file(error_log_path);
        lines_before_failure = c.line_number;
        output_vprintf = failing_vprintf;
        testing::internal::CaptureStdout();
        mirt_write_coverage_data(out_path.c_str());
        std::string printed = testing::internal::GetCapturedStdout();
        output_vprintf = vfprintf;
        SCOPED_TRACE("line " + std::to_string(c.line_number));
        EXPECT_EQ(printed, "Error: can't fprintf to " + (c.names_path ? out_path : "mirt.out") + "\n");
        EXPECT_EQ(mirt_test::lines_of(read_file(error_log_path)).size(), 1u);
        EXPECT_TRUE(logged(c.source_line, c.message));
        if (c.written != nullptr) { EXPECT_EQ(read_file(out_path), c.written); }
    }
}

// Without a trace a write leaves the index open; with one it flushes and
// closes both, and later records and new points go on in the same files.
TEST_F(OutputTest, WriteFlushesAndClosesTraceAndIndexWhichThenReopen) {
    ASSERT_NE((load_index_file(index_mode_numbering), index_stream), nullptr);
    mirt_fn("k.cpp", 1);
    write();
    EXPECT_NE(index_stream, nullptr);
    EXPECT_FALSE(trace_created);
    { mirt_obj scope("t/scope.cpp", 1); }
    write();
    EXPECT_EQ(trace_handle, 0);  // closed and marked so
    EXPECT_EQ(index_stream, nullptr);
    EXPECT_EQ(read_file(trace_path), std::string("\x01\0\0\xFF\xFF\xFF", 6));
    { mirt_obj scope("t/other.cpp", 2); }
    write();
    EXPECT_EQ(read_file(trace_path), std::string("\x01\0\0\xFF\xFF\xFF\x02\0\0\xFE\xFF\xFF", 12));
    EXPECT_EQ(index_lines(), (std::vector<std::string>{"t/scope.cpp,1", "t/other.cpp,2"}));
}
