// Tests of module registration: sharing, variants, loaded records and merged views.
#include <cstring>

#include "mirt64.h"
#include "modules.h"
#include "runtime_fixture.h"

using namespace mirt;

namespace {
ModuleRecord* loaded(const char* name, std::vector<int32_t> lines, std::vector<long long> counts) {
    ModuleRecord* r = create_module_record(name, static_cast<int32_t>(lines.size()), lines.data());
    for (size_t i = 0; i < counts.size(); ++i) r->counters[i] = counts[i];
    return r;
}

std::vector<std::pair<int32_t, long long>> rows(const ModuleRecord* r) {
    std::vector<std::pair<int32_t, long long>> out;
    for (int32_t i = 0; i < r->count; ++i) out.emplace_back(r->lines[i], r->counters[i]);
    return out;
}
}  // namespace

TEST_F(RuntimeTest, SameNameAndLinesShareOneTableOtherLinesGetVariants) {
    static char name[] = "src/mod.cpp";
    int first_lines[] = {3, 5, 9};
    int same_lines[] = {3, 5, 9};
    int other_lines[] = {3, 5, 10};
    long long* a = mirt_reg2(name, 3, first_lines);
    long long* b = c_mirt_reg2(name, 3, same_lines);
    EXPECT_EQ(a, b);
    long long* c = mirt_reg2(name, 3, other_lines);
    EXPECT_NE(c, a);
    long long* d = mirt_reg2(name, 2, first_lines);  // a shorter table is another variant
    EXPECT_NE(d, a);
    EXPECT_NE(d, c);
    EXPECT_EQ(mirt_reg2(name, 3, other_lines), c);  // variants are searched before the head
    EXPECT_EQ(module_names(), std::vector<std::string>{"src/mod.cpp"});
    ModuleRecord* head = module_registry().at("src/mod.cpp");
    EXPECT_EQ(head->counters, a);
    ASSERT_EQ(head->variants.size(), 2u);
    // The record holds copies: the caller's lines may change afterwards.
    first_lines[0] = 99;
    EXPECT_EQ(head->lines[0], 3);
    EXPECT_NE(head->name, name);
    EXPECT_STREQ(head->name, "src/mod.cpp");
}

TEST_F(RuntimeTest, ZeroCountTablesMatchAtOnceAndBadArgumentsAreSafe) {
    static char name[] = "empty.cpp";
    long long* a = mirt_reg2(name, 0, nullptr);
    int lines[] = {1};
    EXPECT_EQ(mirt_reg2(name, 0, lines), a);
    ASSERT_NE(a, nullptr);
    // A negative count is taken as 0; missing lines are read as zeros, and
    // the table still has room for every counter the module increments.
    EXPECT_EQ(mirt_reg2(name, -5, lines), a);
    long long* zeros = mirt_reg2(name, 2, nullptr);
    zeros[0] += 1;
    zeros[1] += 1;
    int zero_lines[] = {0, 0};
    EXPECT_EQ(mirt_reg2(name, 2, zero_lines), zeros);
    long long* unnamed = mirt_reg2(nullptr, 1, lines);
    EXPECT_EQ(mirt_reg2(nullptr, 1, lines), unnamed);
    EXPECT_EQ(module_names().back(), "");
}

// Static registrations keep the callers' own tables, uncopied and in call
// order, apart from the module registry: destroying every module keeps them,
// and registration starts afresh afterwards.
TEST_F(RuntimeTest, StaticRegistrationsOutliveDestroyingEveryModule) {
    static char name[] = "static.cpp";
    int lines[] = {1, 2};
    long long counters[] = {0, 0};
    EXPECT_EQ(mirt_reg(name, 2, lines, counters), 0);
    EXPECT_EQ(c_mirt_reg(name, 2, lines, counters), 0);
    ASSERT_EQ(static_registrations().size(), 2u);
    EXPECT_EQ(static_registrations()[1].name, name);
    EXPECT_EQ(static_registrations()[1].counters, counters);
    EXPECT_TRUE(module_names().empty());
    mirt_reg2(name, 1, lines)[0] = 4;
    destroy_all_modules();
    EXPECT_TRUE(module_registry().empty());
    EXPECT_TRUE(module_names().empty());
    EXPECT_EQ(static_registrations().size(), 2u);
    long long* again = mirt_reg2(name, 1, lines);
    EXPECT_EQ(again[0], 0);
    EXPECT_EQ(module_names().size(), 1u);
}

TEST_F(RuntimeTest, MergedViewSumsPerLineNumberWithLinesAscending) {
    static char name[] = "m.cpp";
    int head_lines[] = {30, 10};
    int variant_lines[] = {20, 30, -4};
    long long* head = mirt_reg2(name, 2, head_lines);
    long long* variant = mirt_reg2(name, 3, variant_lines);
    head[0] = 1;   // line 30
    head[1] = 2;   // line 10
    variant[0] = 5;  // line 20
    variant[1] = 7;  // line 30
    register_loaded_record(loaded("m.cpp", {10, 99}, {100, 0}));
    ModuleRecord* record = module_registry().at("m.cpp");
    EXPECT_EQ(total_hits(record), 115);
    MergedView view = merged_view(record);
    ASSERT_TRUE(view.owned);
    EXPECT_STREQ(view.record->name, "m.cpp");
    EXPECT_EQ(rows(view.record), (std::vector<std::pair<int32_t, long long>>{{-4, 0}, {10, 102}, {20, 5}, {30, 8}, {99, 0}}));
    destroy_module_record(view.record);

    static char plain_name[] = "plain.cpp";
    int plain_lines[] = {1};
    mirt_reg2(plain_name, 1, plain_lines);
    MergedView plain = merged_view(module_registry().at("plain.cpp"));
    EXPECT_FALSE(plain.owned);
    EXPECT_EQ(plain.record, module_registry().at("plain.cpp"));
}
