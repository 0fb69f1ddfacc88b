// Tests of clearing: which counts go, which structures stay.
#include <cstring>

#include "internals.h"
#include "mirt64.h"
#include "modules.h"
#include "point_table.h"
#include "runtime_fixture.h"
#include "source_lines.h"

using namespace mirt;

TEST_F(RuntimeTest, ClearZeroesEveryCountAndKeepsEveryStructure) {
    static char point[] = "p.cpp", key[] = "k.cpp", module[] = "m.cpp", stat[] = "s.cpp", file[] = "f.cpp";
    static char name[] = "case", label[] = "label";
    mirt_set_test_name(name, 4, label);
    mirt_obj p(point, 1);
    mirt_fn(key, 2);
    mirt_fn(42);
    int lines[] = {5, 6};
    long long own_counters[] = {3, 4};
    mirt_reg(stat, 2, lines, own_counters);
    long long* table = mirt_reg2(module, 2, lines);
    table[0] = 9;
    int other[] = {7};
    long long* variant = mirt_reg2(module, 1, other);
    variant[0] = 2;
    ModuleRecord* attached = create_module_record("m.cpp", 1, other);
    attached->counters[0] = 8;
    register_loaded_record(attached);
    mirt_fn2(file, 3);
    auto* merged = static_cast<PointHitEntry*>(calloc(1, sizeof(PointHitEntry)));
    merged->key = reinterpret_cast<uintptr_t>(strdup("from/client.cpp"));
    merged->line = 4;
    merged->count = 6;
    add_merged_point(merged);
    PointHitEntry* table_before = point_hit_table;
    uint64_t* counters_before = simple_counters;

    c_mirt_clear_coverage_data();

    EXPECT_EQ(point_hit_table, table_before);
    for (uint32_t i = 0; i < point_table_slots; ++i) ASSERT_EQ(point_hit_table[i].line, 0) << i;
    EXPECT_EQ(point_entry_count, 2);  // kept: every claim counts towards the cap
    EXPECT_EQ(point_counter, 2);
    EXPECT_EQ(simple_counters, counters_before);
    EXPECT_EQ(simple_counters[42], 0u);
    EXPECT_EQ(own_counters[0] + own_counters[1], 0);
    EXPECT_EQ(static_registrations().size(), 1u);
    // The tables handed out stay the same, zeroed; the attached record is gone.
    EXPECT_EQ(mirt_reg2(module, 2, lines), table);
    EXPECT_EQ(mirt_reg2(module, 1, other), variant);
    EXPECT_EQ(table[0], 0);
    EXPECT_EQ(variant[0], 0);
    EXPECT_TRUE(module_registry().at("m.cpp")->attached.empty());
    EXPECT_EQ(module_names().size(), 1u);
    // The file stays, with no lines; a new hit adds to the same entry.
    ASSERT_NE(file_line_table().find("f.cpp"), nullptr);
    EXPECT_TRUE(file_line_table().find("f.cpp")->empty());
    mirt_fn2(file, 3);
    EXPECT_EQ(file_line_table().find("f.cpp")->at(3), 1);
    EXPECT_EQ(file_line_table().file_count(), 1u);
    EXPECT_TRUE(merged_points().empty());
    EXPECT_STREQ(current_test_name(), "case");
    EXPECT_STREQ(current_test_label(), "label");
    // Counting goes on in the kept table.
    table[1] += 1;
    EXPECT_EQ(total_hits(module_registry().at("m.cpp")), 1);
}

// A clear before any probe allocates nothing; a named point after a clear
// is numbered again and listed twice.
TEST_F(RuntimeTest, ClearBeforeProbesAndNamedPointsAfterClear) {
    mirt_clear_coverage_data();
    EXPECT_EQ(point_hit_table, nullptr);
    EXPECT_EQ(simple_counters, nullptr);
    EXPECT_EQ(file_line_table().file_count(), 0u);
    EXPECT_TRUE(module_names().empty());
    static char point[] = "again.cpp";
    mirt_obj before(point, 12);
    EXPECT_EQ(before.index, 1);
    mirt_clear_coverage_data();
    mirt_obj after(point, 12);
    EXPECT_EQ(after.index, 2);
    EXPECT_EQ(mirt_test::lines_of(mirt_test::read_text_file(index_path)),
              (std::vector<std::string>{"again.cpp,12", "again.cpp,12"}));
}
