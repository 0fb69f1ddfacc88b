// Tests of the numbered counters, the point-hit table and the simple probes.
#include <cstring>

#include "internals.h"
#include "mirt64.h"
#include "runtime_fixture.h"

using namespace mirt;

namespace {
char* key_value(uint64_t v) { return reinterpret_cast<char*>(static_cast<uintptr_t>(v)); }
}  // namespace

TEST(PointHash, HomeSlotFollowsTheFormula) {
    EXPECT_EQ(home_slot(0, 1), 257u);
    EXPECT_EQ(home_slot(1, 0), 81u);
    EXPECT_EQ(home_slot(0x1234567890ULL, 77), 815837u);  // the whole key counts; 20 bits are kept
    EXPECT_EQ(home_slot(0, -1), 1048319u);  // negative lines wrap like any other unsigned product
}

// The fold takes the last 32 bytes at once; it must agree with the step by
// step form on every length and on bytes of either sign.
TEST(PointHash, FoldAgreesWithTheStepwiseFormOnManyNames) {
    uint64_t state = 0x2545F4914F6CDD1DULL;
    char name[101];
    for (int round = 0; round < 20000; ++round) {
        size_t length = static_cast<size_t>(round % 101);
        for (size_t i = 0; i < length; ++i) {
            state ^= state << 13, state ^= state >> 7, state ^= state << 17;
            name[i] = static_cast<char>(1 + state % 255);
        }
        name[length] = '\0';
        uint32_t stepwise = 0;
        for (size_t i = 0; i < length; ++i)
            stepwise = (stepwise * 2) ^ static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(name[i])));
        ASSERT_EQ(name_fold(name), stepwise) << "length " << length;
    }
}

TEST_F(RuntimeTest, PointerKeysClaimTheirHomeSlotAndProbeOnWithWrap) {
    char* a = key_value(0x10000);
    c_mirt_fn(a, 7);
    ASSERT_NE(point_hit_table, nullptr);
    uint32_t slot = home_slot(0x10000, 7);
    EXPECT_EQ(point_hit_table[slot].line, 7);
    EXPECT_EQ(point_hit_table[slot].key, 0x10000u);
    EXPECT_EQ(point_hit_table[slot].count, 1u);
    // Keys 2^20 apart share the home slot (81 is odd): the second goes next door.
    char* b = key_value(0x10000 + 0x100000);
    c_mirt_fn(b, 7);
    EXPECT_EQ(point_hit_table[(slot + 1) & point_slot_mask].key, 0x110000u);
    // A key whose home is the last slot wraps to slot 0 when it is taken.
    uint64_t k = 0;
    while (home_slot(k, 1) != point_slot_mask) ++k;
    c_mirt_fn(key_value(k), 1);
    c_mirt_fn(key_value(k + 0x100000), 1);
    EXPECT_EQ(point_hit_table[point_slot_mask].key, k);
    EXPECT_EQ(point_hit_table[0].key, k + 0x100000);
    // Line 0 leaves the slot looking empty: the next key with its home
    // there claims it again, overwriting it.
    mirt_fn(key_value(0x500), 0);
    mirt_fn(key_value(0x100500), 0);
    EXPECT_EQ(point_hit_table[home_slot(0x500, 0)].key, 0x100500u);
    EXPECT_EQ(point_hit_table[home_slot(0x500, 0)].count, 1u);
    EXPECT_EQ(point_entry_count, 6);
}

TEST_F(RuntimeTest, NewPointerKeyAfterThreeNamedPointsReturnsThree) {
    static char n1[] = "x.cpp", n2[] = "y.cpp", n3[] = "z.cpp", key[] = "k.cpp";
    mirt_obj a(n1, 1), b(n2, 2), c(n3, 3);
    EXPECT_EQ(a.index, 1);
    EXPECT_EQ(b.index, 2);
    EXPECT_EQ(c.index, 3);
    EXPECT_EQ(point_counter, 4);
    EXPECT_EQ(mirt_fn(key, 5), 3);
    EXPECT_EQ(mirt_fn(key, 5), 0);
    EXPECT_EQ(point_counter, 4);  // pointer keys never advance it
}

TEST_F(RuntimeTest, PointerKeysCountByAddressNamedPointsByText) {
    // Named points first: they open the index file that numbers them.
    char third[] = "named.cpp";
    char fourth[] = "named.cpp";
    mirt_obj p(third, 9);
    mirt_obj q(fourth, 9);
    mirt_obj r(third, 10);  // same name, other line: another point
    EXPECT_EQ(p.index, 1);
    EXPECT_EQ(q.index, 1);
    EXPECT_EQ(r.index, 2);
    EXPECT_EQ(point_entry_count, 2);
    EXPECT_EQ(point_hit_table[home_slot(name_fold("named.cpp"), 9)].count, 2u);

    char first[] = "same.cpp";
    char second[] = "same.cpp";
    mirt_fn(first, 3);
    mirt_fn(second, 3);
    mirt_fn(first, 3);
    EXPECT_EQ(point_entry_count, 4);
    EXPECT_EQ(point_hit_table[home_slot(reinterpret_cast<uintptr_t>(first), 3)].count, 2u);
}

TEST_F(RuntimeTest, AtTheCapKnownKeysStillCountAndNewKeysGiveUp) {
    static char known[] = "known.cpp", fresh[] = "fresh.cpp";
    mirt_obj named(known, 2);
    mirt_fn(known, 1);
    point_entry_count = point_table_cap;
    EXPECT_EQ(mirt_fn(known, 1), 0);
    EXPECT_EQ(point_hit_table[home_slot(reinterpret_cast<uintptr_t>(known), 1)].count, 2u);
    mirt_obj again(known, 2);
    EXPECT_EQ(again.index, 1);
    // A new key walks the table once and counts nothing (the walk ends).
    EXPECT_EQ(mirt_fn(fresh, 1), 0);
    mirt_obj refused(fresh, 3);
    EXPECT_EQ(refused.index, 0);
    EXPECT_EQ(point_entry_count, point_table_cap);
    EXPECT_EQ(point_counter, 2);
}

TEST_F(RuntimeTest, NumberedCountersCoverExactlyTheirRange) {
    EXPECT_EQ(simple_counters, nullptr);
    EXPECT_EQ(mirt_fn(999999), 0);
    mirt_fn(999999);
    mirt_fn(0);
    ASSERT_NE(simple_counters, nullptr);
    EXPECT_EQ(simple_counters[999999], 2u);
    EXPECT_EQ(simple_counters[0], 1u);
    // Out of range ids are dropped, never written past the array.
    EXPECT_EQ(mirt_fn(1000000), 0);
    EXPECT_EQ(mirt_fn(-1), 0);
    uint64_t sum = 0;
    for (int i = 0; i < simple_counter_count; ++i) sum += simple_counters[i];
    EXPECT_EQ(sum, 3u);
}

TEST_F(RuntimeTest, TestNameAndLabelAreCutAt255Bytes) {
    std::string long_name(300, 'n');
    std::string long_label(400, 'l');
    mirt_set_test_name(long_name.data(), 300, long_label.data());
    EXPECT_EQ(std::string(current_test_name()), std::string(255, 'n'));
    EXPECT_EQ(std::string(current_test_label()), std::string(255, 'l'));
    char name[] = "suite.case";
    char label[] = "Optimize";
    c_mirt_set_test_name(name, 5, label);
    EXPECT_STREQ(current_test_name(), "suite");
    EXPECT_STREQ(current_test_label(), "Optimize");
    // A length beyond the name's terminator stops at the terminator; a
    // negative length gives the empty name; null texts give empty texts.
    c_mirt_set_test_name(name, 200, nullptr);
    EXPECT_STREQ(current_test_name(), "suite.case");
    EXPECT_STREQ(current_test_label(), "");
    c_mirt_set_test_name(name, -4, label);
    EXPECT_STREQ(current_test_name(), "");
}
