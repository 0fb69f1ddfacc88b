// Tests of collection's pieces inside one process: names and messages, data files.
#include <map>

#include "ipc/data_file.h"
#include "core/modules.h"
#include "ipc/names.h"
#include "platform/process.h"
#include "tests/core/runtime_fixture.h"
#include "core/source_lines.h"

using namespace mirt;
using mirt_test::join;

namespace {
std::string take(const OwnedName& text) { return text != nullptr ? text.get() : "(null)"; }
}  // namespace

TEST(IpcNames, NamesAndRegistrationTexts) {
    EXPECT_EQ(take(make_data_base_name(ClientRecord{"x.exe", 0, 10, -1})), "mirt_x.exe_data_10_-1");
    ClientRecord client{"x.exe", 0, 10, 2};
    EXPECT_EQ(take(make_exiting_name(client)), "mirt_x.exe_data_10_2_EXITING");
    EXPECT_EQ(take(make_data_ready_name(client)), "mirt_x.exe_data_10_2_DATA_READY");
    EXPECT_EQ(take(make_cleardata_done_name(client)), "mirt_x.exe_data_10_2_CLEARDATA_DONE");
    // Names are cut at 510 characters, never overrun.
    EXPECT_EQ(take(make_data_base_name(std::string(600, 'n').c_str(), 1, 1)).size(), 510u);

    char temp[256], path[data_file_path_size];
    ASSERT_TRUE(platform::temp_folder(temp, sizeof temp));
    for (bool final : {true, false}) {
        make_data_file_path(path, "mirt_x.exe_data_10_2", final);
        EXPECT_EQ(path, std::string(temp) + "mirt_x.exe_data_10_2_" + (final ? "Y" : "N"));
    }

    char message[512];
    make_registration(message, sizeof message, "a:b", 17);
    EXPECT_STREQ(message, "CR:a:b:17");
    const struct {
        const char *text, *name;
        uint32_t pid;
    } cases[] = {{"CR:a:b:17", "a:b", 17}, {"XX:foo:12", "", 0}, {"no colon", "", 0},
                 {"CR:x:abc", "x", 0}, {"", "", 0}};
    for (const auto& c : cases) {
        std::string name = "stale";
        uint32_t pid = 99;
        parse_registration(c.text, &name, &pid);
        EXPECT_EQ(name, c.name) << c.text;
        EXPECT_EQ(pid, c.pid) << c.text;
    }
}

// The data file of an empty process is three zero counts. A merge that failed holds nothing:
// the next merge and write run (they would hang on a lock left held). A module registered
// twice travels as one record with summed counts per line; a point whose key is the empty
// text comes back empty; merging a file twice appends its modules and points twice and adds
// its line counts twice.
TEST_F(RuntimeTest, DataFileCarriesModulesPointsAndLines) {
    std::string empty = join(folder, "empty_N");
    ASSERT_TRUE(write_data_file(empty.c_str()));
    EXPECT_EQ(mirt_test::read_file(empty), std::string(24, '\0'));
    EXPECT_FALSE(write_data_file(join(join(folder, "missing"), "x_N").c_str()));
    EXPECT_FALSE(merge_data_file(join(folder, "missing_N").c_str()));
    EXPECT_TRUE(merge_data_file(empty.c_str()));
    write();

    int lines_a[] = {2, 1}, lines_b[] = {2, 3};
    mirt_reg2("m.cpp", 2, lines_a)[0] = 5;
    long long* b = mirt_reg2("m.cpp", 2, lines_b);
    b[0] = 7;
    b[1] = 1;
    c_mirt_fn("", 4);
    for (int i = 0; i < 2; ++i) {
        c_mirt_fn("k.cpp", 9);
        mirt_fn2("f.cpp", 3);
    }
    std::string path = join(folder, "full_N");
    ASSERT_TRUE(write_data_file(path.c_str()));
    ASSERT_TRUE(merge_data_file(path.c_str()) && merge_data_file(path.c_str()));
    ModuleRecord* head = module_registry().at("m.cpp");
    ASSERT_EQ(head->attached.size(), 2u);
    for (const ModuleRecord* loaded : head->attached) {
        ASSERT_EQ(loaded->count, 3);
        EXPECT_EQ(std::vector<int32_t>(loaded->lines, loaded->lines + 3),
                  (std::vector<int32_t>{1, 2, 3}));
        EXPECT_EQ(std::vector<long long>(loaded->counters, loaded->counters + 3),
                  (std::vector<long long>{0, 12, 1}));
    }
    EXPECT_EQ(module_names().size(), 1u);
    std::map<std::pair<std::string, int32_t>, uint64_t> points,
        expected{{{"", 4}, 2}, {{"k.cpp", 9}, 4}};
    for (const PointHitEntry* p : merged_points()) points[{key_text(p->key), p->line}] += p->count;
    EXPECT_EQ(merged_points().size(), 4u);
    EXPECT_EQ(points, expected);
    EXPECT_EQ(file_line_table().find("f.cpp")->at(3), 6);
}

// Cut at every length, the file merges without harm: entries begun before
// the end are kept with what was read, nothing is made up after it. Counts
// and lengths that the file cannot hold are cut to what it holds.
TEST_F(RuntimeTest, DataFileReaderTrustsNoLength) {
    int lines[] = {10, 20};
    long long* counters = mirt_reg2("mod", 2, lines);
    counters[0] = 1;
    counters[1] = 2;
    std::string path = join(folder, "data_N"), cut = join(folder, "cut_N");
    ASSERT_TRUE(write_data_file(path.c_str()));
    const std::string whole = mirt_test::read_file(path);
    ASSERT_EQ(whole.size(), 8 + (8 + 3 + 4 + 2 * 4 + 2 * 8) + 8 + 8);
    for (size_t n = 0; n <= whole.size(); ++n) {
        mirt_test::write_file(cut, whole.substr(0, n));
        ASSERT_TRUE(merge_data_file(cut.c_str()));
    }
    auto merged_module = [&](const std::string& bytes, const char* name) {
        destroy_all_modules();
        mirt_test::write_file(cut, bytes);
        EXPECT_TRUE(merge_data_file(cut.c_str()));
        EXPECT_EQ(module_names(), std::vector<std::string>{name});
        return module_registry().at(name);
    };
    // Counts at their largest with almost nothing behind them; a name longer
    // than the file is cut to the rest of the file.
    size_t points_before = merged_points().size();
    const std::string ab("\x02\0\0\0\0\0\0\0ab\xFF\xFF\xFF\x7F\x05\0\0\0", 18);
    ModuleRecord* head = merged_module(std::string(8, '\xFF') + ab, "ab");
    ASSERT_EQ(head->count, 1);  // four bytes left: one line number
    EXPECT_EQ(head->lines[0], 5);
    EXPECT_EQ(head->counters[0], 0);
    EXPECT_EQ(merged_points().size(), points_before);
    merged_module(std::string(8, '\x01') + std::string(8, '\x7F') + "abc", "abc");
}
