// Choosing one site per line and writing probes into the text.
#include <gtest/gtest.h>

#include "probe_text.h"

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

TEST(SelectSites, FirstCodeOfALineWinsInEachFunction) {
    std::vector<Site> candidates = {
        site_at(3, 40, 40, 1),  // a statement of function 1 after its start on line 3
        site_at(3, 10, 20, 1),  // function 1 starts on line 3
        site_at(3, 50, 60, 2),  // function 2 starts on line 3 too
        site_at(3, 70, 70, 0),  // code of the enclosing function after both (a lambda's caller)
        site_at(5, 90, 90),
        site_at(5, 80, 80),     // comes first on line 5
        site_at(4, 70, 70),
    };
    std::vector<Site> kept = select_sites(candidates);
    ASSERT_EQ(kept.size(), 5u);
    EXPECT_EQ(kept[0].anchor, 10u);
    EXPECT_EQ(kept[1].anchor, 50u);
    EXPECT_EQ(kept[2].anchor, 70u);
    EXPECT_EQ(kept[3].line, 4);
    EXPECT_EQ(kept[4].anchor, 80u);
    EXPECT_EQ(counted_lines(kept), (std::vector<int>{3, 4, 5}));
}

TEST(RenderProbes, TableStyleCountsIntoTheRegisteredTable) {
    SourceText src{"src/a.cpp", "int f() {\n  return 1;\n}\n", true};
    std::vector<Site> sites = {site_at(1, 4, 9, 1), site_at(2, 12, 12, 1)};
    std::string out = render_instrumented(src, ProbeStyle::table, select_sites(sites));
    EXPECT_EQ(body_of(out, "src/a.cpp"), "int f() {++mirt_counters_[0]; \n  ++mirt_counters_[1]; return 1;\n}\n");
    EXPECT_NE(out.find("mirt_probe_count_* c_mirt_reg2(char* name, int count, int* lines);"), std::string::npos)
        << "the copy declares what its probes call";
    EXPECT_NE(out.find("static char mirt_source_[] = \"src/a.cpp\";"), std::string::npos);
    EXPECT_NE(out.find("static int mirt_lines_[2] = {1, 2};"), std::string::npos);
    EXPECT_NE(out.find("c_mirt_reg2(mirt_source_, 2, mirt_lines_)"), std::string::npos);
    EXPECT_LT(out.find("mirt_early_counts_[2];"), out.find("#line 1 \"src/a.cpp\""))
        << "the counters are declared before the file's own code";
}

TEST(RenderProbes, LineAndFunctionStyles) {
    SourceText cpp{"a.cpp", "void f() {\n  g();\n}\n", true};
    std::vector<Site> sites = select_sites({site_at(1, 5, 10, 1), site_at(2, 13, 13, 1)});
    EXPECT_EQ(body_of(render_instrumented(cpp, ProbeStyle::line, sites), "a.cpp"),
              "void f() {c_mirt_fn2(mirt_source_, 1); \n  c_mirt_fn2(mirt_source_, 2); g();\n}\n");
    std::vector<Site> entry = select_sites({site_at(1, 5, 10, 1)});
    EXPECT_EQ(body_of(render_instrumented(cpp, ProbeStyle::function, entry), "a.cpp"),
              "void f() {mirt_obj mirt_scope0_(mirt_source_, 1); \n  g();\n}\n");
    SourceText c{"a.c", cpp.text, false};
    std::string c_out = render_instrumented(c, ProbeStyle::function, entry);
    EXPECT_EQ(body_of(c_out, "a.c"), "void f() {c_mirt_fn(mirt_source_, 1); \n  g();\n}\n")
        << "C has no scope objects: a named point counts the entry";
    EXPECT_EQ(c_out.find("mirt_reg2(mirt_source_"), std::string::npos) << "only the table style registers";
}

TEST(RenderProbes, ConditionProbesAndGuards) {
    SourceText cpp{"a.cpp", "while (x) y();", true};
    Site s;
    s.line = 1;
    s.probes.push_back({Probe::prefix, 7});
    EXPECT_EQ(body_of(render_instrumented(cpp, ProbeStyle::table, {s}), "a.cpp"),
              "while (static_cast<void>(++mirt_counters_[0]), x) y();");
    s.guarded = true;
    EXPECT_EQ(body_of(render_instrumented(cpp, ProbeStyle::table, {s}), "a.cpp"),
              "while (static_cast<void>(__builtin_is_constant_evaluated() || ++mirt_counters_[0]), x) y();");
    SourceText c{"a.c", cpp.text, false};
    s.guarded = false;
    EXPECT_EQ(body_of(render_instrumented(c, ProbeStyle::line, {s}), "a.c"),
              "while ((void)(c_mirt_fn2(mirt_source_, 1)), x) y();");
    Site g = site_at(1, 0, 0);
    g.guarded = true;
    EXPECT_EQ(body_of(render_instrumented(cpp, ProbeStyle::table, {g}), "a.cpp"),
              "if (!__builtin_is_constant_evaluated()) ++mirt_counters_[0]; while (x) y();");
}

TEST(RenderProbes, WrappedStatementsNestAndLoopEndsStayInside) {
    // for (x : v) if (a) b();   with the body wrapped for a probe at its end,
    // and b() wrapped for its own probe: b's block closes first, then the
    // body-end probe, then the body's block.
    std::string text = "for (x : v) if (a) b(); z();";
    //                  0123456789012345678901234567
    SourceText src{"a.cpp", text, true};
    Site loop;
    loop.line = 1;
    loop.anchor = 0;
    loop.probes.push_back({Probe::statement, 0});
    Probe end{Probe::statement, 23};
    end.at_body_end = true;
    end.body_start = 12;
    loop.probes.push_back(end);
    loop.wraps.push_back({12, 23});
    Site inner;
    inner.line = 2;  // as if b() stood on a line of its own
    inner.anchor = 19;
    inner.probes.push_back({Probe::statement, 19});
    inner.wraps.push_back({19, 23});
    std::string out = body_of(render_instrumented(src, ProbeStyle::table, select_sites({loop, inner})), "a.cpp");
    EXPECT_EQ(out, "++mirt_counters_[0]; for (x : v) {if (a) {++mirt_counters_[1]; b();}++mirt_counters_[0]; } z();");
}

TEST(RenderProbes, NoSiteLeavesTheTextAlone) {
    SourceText src{"a.cpp", "int x = 1;\n", true};
    EXPECT_EQ(render_instrumented(src, ProbeStyle::table, {}), src.text);
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

TEST(ProbeStyles, ParseNames) {
    ProbeStyle s = ProbeStyle::table;
    EXPECT_TRUE(parse_style("line", &s));
    EXPECT_EQ(s, ProbeStyle::line);
    EXPECT_TRUE(parse_style("function", &s));
    EXPECT_EQ(s, ProbeStyle::function);
    EXPECT_FALSE(parse_style("Table", &s));
    EXPECT_EQ(std::string(style_name(ProbeStyle::table)), "table");
}
