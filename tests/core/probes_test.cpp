// Tests of the probes' stores: numbered counters, the point-hit table, modules, the test name.
#include "core/modules.h"
#include "tests/core/runtime_fixture.h"

using namespace mirt;

namespace {
char* key_value(uint64_t v) { return reinterpret_cast<char*>(static_cast<uintptr_t>(v)); }
}  // namespace

// A key probes on from its home slot, past the last slot to slot 0; line 0
// leaves a slot looking empty, so the next key at home there overwrites it.
TEST_F(RuntimeTest, PointerKeysProbeOnWithWrapAndLineZeroLooksEmpty) {
    uint64_t k = 0;
    while (home_slot(k, 1) != point_slot_mask) ++k;
    c_mirt_fn(key_value(k), 1);
    c_mirt_fn(key_value(k + 0x100000), 1);  // keys 2^20 apart share the home slot
    EXPECT_EQ(point_hit_table[point_slot_mask].key, k);
    EXPECT_EQ(point_hit_table[0].key, k + 0x100000);
    EXPECT_EQ(point_hit_table[0].line, 1);
    mirt_fn(key_value(0x500), 0);
    mirt_fn(key_value(0x100500), 0);
    EXPECT_EQ(point_hit_table[home_slot(0x500, 0)].key, 0x100500u);
    EXPECT_EQ(point_hit_table[home_slot(0x500, 0)].count, 1u);
    EXPECT_EQ(point_entry_count, 4);
}

// A pointer-keyed probe returns the last named point's number when it claims
// a slot, 0 after that; it never advances the numbering. Named points are
// numbered by their text, whatever buffer holds it.
TEST_F(RuntimeTest, PointerKeysReturnTheLastNamedPointsNumberOnce) {
    char third[] = "named.cpp", fourth[] = "named.cpp", key[] = "k.cpp";
    mirt_obj p(third, 9), q(fourth, 9), r(third, 10);  // same name, other line: another point
    EXPECT_EQ(std::vector<int>({p.index, q.index, r.index}), std::vector<int>({1, 1, 2}));
    EXPECT_EQ(mirt_fn(key, 5), 2);
    EXPECT_EQ(mirt_fn(key, 5), 0);
    EXPECT_EQ(point_counter, 3);
    EXPECT_EQ(point_entry_count, 3);
    EXPECT_EQ(index_lines(), (std::vector<std::string>{"named.cpp,9", "named.cpp,10"}));
}

// Before any named point a pointer-keyed probe returns 0 and never opens the
// index file; a named point after it finds the index unopened.
TEST_F(RuntimeTest, PointerKeyedFirstLeavesTheIndexUnopenedForNamedPoints) {
    static char key[] = "k.cpp";
    EXPECT_EQ(c_mirt_fn(key, 1), 0);
    EXPECT_EQ(mirt_fn(key, 1), 0);
    EXPECT_EQ(index_stream, nullptr);
    testing::internal::CaptureStdout();
    EXPECT_EQ(mirt_obj("n.cpp", 2).index, 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Error: can't fprintf to " + index_path + "\n");
    EXPECT_TRUE(logged(828, "can't fprintf to index file"));
    EXPECT_FALSE(mirt_test::file_exists(index_path));
}

// Filled to its cap by real probes: known keys still count, a new key walks the table once
// and counts nothing, a write reports the full table and leaves an empty file.
TEST_F(RuntimeTest, AtTheCapKnownKeysStillCountAndNewKeysGiveUp) {
    static char known[] = "known.cpp", fresh[] = "fresh.cpp";
    mirt_obj named(known, 2);
    mirt_fn(known, 1);
    for (uint64_t k = 1; point_entry_count < point_table_cap; ++k) c_mirt_fn(key_value(k << 4), 1);
    EXPECT_EQ(mirt_fn(known, 1), 0);
    EXPECT_EQ(point_hit_table[home_slot(reinterpret_cast<uintptr_t>(known), 1)].count, 2u);
    EXPECT_EQ(mirt_obj(known, 2).index, 1);
    EXPECT_EQ(mirt_fn(fresh, 1), 0);
    EXPECT_EQ(mirt_obj(fresh, 3).index, 0);
    EXPECT_EQ(point_entry_count, point_table_cap);
    EXPECT_EQ(point_counter, 2);

    testing::internal::CaptureStdout();
    mirt_write_coverage_data(out_path.c_str());
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Error: mirt hash table too full.\n");
    EXPECT_TRUE(mirt_test::file_exists(out_path));
    EXPECT_EQ(mirt_test::read_file(out_path), "");
    EXPECT_TRUE(logged(1193, "mirt hash table too full."));
}

// Cut at 255 bytes, at the length given or at the terminator; a negative
// length gives the empty name, null texts give empty texts.
TEST_F(RuntimeTest, TestNameAndLabelAreCutAt255Bytes) {
    std::string long_name(300, 'n'), long_label(400, 'l');
    mirt_set_test_name(long_name.data(), 300, long_label.data());
    EXPECT_EQ(std::string(current_test_name()), std::string(255, 'n'));
    EXPECT_EQ(std::string(current_test_label()), std::string(255, 'l'));
    char name[] = "suite.case", label[] = "Optimize";
    c_mirt_set_test_name(name, 5, label);
    EXPECT_STREQ(current_test_name(), "suite");
    EXPECT_STREQ(current_test_label(), "Optimize");
    c_mirt_set_test_name(name, 200, nullptr);
    EXPECT_STREQ(current_test_name(), "suite.case");
    EXPECT_STREQ(current_test_label(), "");
    c_mirt_set_test_name(name, -4, label);
    EXPECT_STREQ(current_test_name(), "");
}

// A negative count is taken as 0, missing lines as zeros (the table still has room for every
// counter the module increments), a missing name as the empty one.
TEST_F(RuntimeTest, ModuleTablesTakeBadArgumentsSafely) {
    int lines[] = {1}, zero_lines[] = {0, 0};
    long long* a = mirt_reg2("empty.cpp", 0, nullptr);
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(mirt_reg2("empty.cpp", 0, lines), a);
    EXPECT_EQ(mirt_reg2("empty.cpp", -5, lines), a);
    long long* zeros = mirt_reg2("empty.cpp", 2, nullptr);
    zeros[0] += 1;
    zeros[1] += 1;
    EXPECT_EQ(mirt_reg2("empty.cpp", 2, zero_lines), zeros);
    long long* unnamed = mirt_reg2(nullptr, 1, lines);
    EXPECT_EQ(mirt_reg2(nullptr, 1, lines), unnamed);
    EXPECT_EQ(module_names(), (std::vector<std::string>{"empty.cpp", ""}));
}
