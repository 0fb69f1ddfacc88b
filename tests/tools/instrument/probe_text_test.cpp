// Choosing one site per line and writing probes into the text.
#include <gtest/gtest.h>

#include "tools/instrument/probe_text.h"

using namespace mirt_instrument;

namespace {

Site site_at(int line, unsigned anchor, unsigned offset, int function = 0) {
    Site s;
    s.line = line;
    s.anchor = anchor;
    s.function = function;
    s.function_entry = function != 0;
    s.probes.push_back({Probe::statement, offset});
    return s;
}

// The text between "#line 1 <path>" and the registration: the file's own part.
std::string body_of(const std::string& rendered, const std::string& path) {
    std::string marker = "#line 1 \"" + path + "\"\n";
    size_t start = rendered.find(marker);
    if (start == std::string::npos) return "";
    start += marker.size();
    size_t end = rendered.find("\n#line 1 \"mirt-probes\"", start);
    return rendered.substr(start, end == std::string::npos ? std::string::npos : end - start);
}

}  // namespace

// A site of straight code gives up its counter only where the map can say
// what it counts: the first site of its chain alone on its line. A site that
// shares a line with the one counting it still passes its count on, and an
// outcome that its site's count gives follows the chain too.
TEST(SelectSites, StraightCodeCountsThroughTheFirstSiteOfItsChain) {
    auto following = [](Site s, unsigned base) {
        s.follows = base;
        return s;
    };
    Site decision;
    decision.line = 6;
    decision.anchor = 60;
    decision.branch = true;
    decision.outcomes = {"true", "false"};
    decision.sources = {{50, 0}, {0, 0}};
    std::vector<Site> aliases;
    std::vector<Site> kept = select_sites({site_at(2, 10, 10), site_at(2, 20, 20, 1),  // two functions on line 2
                                           following(site_at(3, 30, 30), 10),         // keeps its counter
                                           site_at(4, 40, 40), following(site_at(4, 45, 45), 40),
                                           following(site_at(5, 50, 50), 45), decision},
                                          &aliases);
    EXPECT_EQ(counted_lines(kept), (std::vector<int>{2, 3, 4}));
    ASSERT_EQ(aliases.size(), 1u);
    EXPECT_EQ(aliases[0].line, 5);
    EXPECT_EQ(aliases[0].same_as, 40u);
    EXPECT_EQ(line_aliases(aliases, kept, 0).at(0).same_as, 4);
    ASSERT_EQ(kept.back().derived.size(), 2u);
    EXPECT_EQ(kept.back().derived[0], (std::pair<int, int>{4, 0})) << "true: line 5's count, which line 4 holds";
    EXPECT_FALSE(kept.back().is_derived(1));
}

// The styles' own texts where the builds of the other tests cannot tell them
// apart: in C, which has no scope objects, a named point counts a function's
// entry, and only the table style registers a table. No site leaves the text alone.
TEST(RenderProbes, FunctionStyleInCAndNoSite) {
    SourceText c{"a.c", "void f() {\n  g();\n}\n", false};
    std::string out =
        render_instrumented(c, ProbeStyle::function, select_sites({site_at(1, 5, 10, 1)}));
    EXPECT_EQ(body_of(out, "a.c"), "void f() {c_mirt_fn(mirt_source_, 1); \n  g();\n}\n");
    EXPECT_EQ(out.find("mirt_reg2(mirt_source_"), std::string::npos);
    EXPECT_EQ(render_instrumented({"a.cpp", "int x = 1;\n", true}, ProbeStyle::table, {}), "int x = 1;\n");
}

TEST(RenderProbes, ByteOrderMarkStaysFirstAndNamesAreQuoted) {
    SourceText src{"dir \"q\"\\a.cpp", "\xEF\xBB\xBFvoid f() {}\n", true};
    std::string out = render_instrumented(src, ProbeStyle::line, {site_at(1, 8, 13, 1)});
    EXPECT_EQ(out.compare(0, 3, "\xEF\xBB\xBF"), 0);
    EXPECT_EQ(out.find("\xEF\xBB\xBF", 3), std::string::npos);
    EXPECT_NE(out.find("#line 1 \"dir \\\"q\\\"\\\\a.cpp\"\nvoid f() {c_mirt_fn2"), std::string::npos);
    // Bytes outside printable ASCII (a UTF-8 name among them) as three octal digits.
    EXPECT_EQ(quoted("a\nb\x01" "7\x7F\xC3\xA9"), "\"a\\012b\\0017\\177\\303\\251\"");
}
