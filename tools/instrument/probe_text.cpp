// probe_text.cpp: choosing one site per line and writing the instrumented copy.
#include "probe_text.h"

#include <algorithm>
#include <map>
#include <set>
#include <tuple>

namespace mirt_instrument {

bool parse_style(const std::string& name, ProbeStyle* style) {
    if (name == "table") *style = ProbeStyle::table;
    else if (name == "line") *style = ProbeStyle::line;
    else if (name == "function") *style = ProbeStyle::function;
    else return false;
    return true;
}

const char* style_name(ProbeStyle style) {
    switch (style) {
    case ProbeStyle::table: return "table";
    case ProbeStyle::line: return "line";
    case ProbeStyle::function: return "function";
    }
    return "table";
}

std::vector<Site> select_sites(std::vector<Site> candidates) {
    std::stable_sort(candidates.begin(), candidates.end(), [](const Site& a, const Site& b) {
        return std::tie(a.line, a.anchor) < std::tie(b.line, b.anchor);
    });
    std::vector<Site> kept;
    std::set<std::pair<int, int>> taken;  // (line, function)
    for (Site& site : candidates)
        if (taken.insert({site.line, site.function}).second) kept.push_back(std::move(site));
    return kept;
}

std::vector<int> counted_lines(const std::vector<Site>& sites) {
    std::set<int> lines;
    for (const Site& site : sites) lines.insert(site.line);
    return std::vector<int>(lines.begin(), lines.end());
}

std::string quoted(const std::string& bytes) {
    static const char digits[] = "01234567";
    std::string out = "\"";
    for (unsigned char c : bytes) {
        if (c == '\\' || c == '"') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c < 0x20 || c >= 0x7f) {
            // Octal, always three digits, so that a following digit cannot join it.
            out += '\\';
            out += digits[(c >> 6) & 7];
            out += digits[(c >> 3) & 7];
            out += digits[c & 7];
        } else {
            out += static_cast<char>(c);
        }
    }
    return out + "\"";
}

namespace {

// What one probe executes, as an expression.
std::string probe_expression(ProbeStyle style, int line, int counter) {
    if (style == ProbeStyle::table) return "++mirt_counters_[" + std::to_string(counter) + "]";
    return "c_mirt_fn2(mirt_source_, " + std::to_string(line) + ")";
}

// counter: the site's place in the counter table; in the function style, a
// number that gives each scope object its own name (a lambda's scope would
// otherwise shadow its enclosing function's).
std::string probe_text(const SourceText& source, ProbeStyle style, const Site& site,
                       const Probe& probe, int counter) {
    if (style == ProbeStyle::function) {
        // Only function entries have sites in this style: a scope object in
        // C++, a named point in C, which has no destructors.
        if (source.cplusplus)
            return "mirt_obj mirt_scope" + std::to_string(counter) + "_(mirt_source_, " + std::to_string(site.line) +
                   "); ";
        return "c_mirt_fn(mirt_source_, " + std::to_string(site.line) + "); ";
    }
    std::string expr = probe_expression(style, site.line, counter);
    // A constexpr function may run at compile time, where no counter exists.
    const char* guard = "__builtin_is_constant_evaluated()";
    if (probe.form == Probe::statement) {
        if (site.guarded) return std::string("if (!") + guard + ") " + expr + "; ";
        return expr + "; ";
    }
    if (site.guarded) expr = std::string(guard) + " || " + expr;
    if (source.cplusplus) return "static_cast<void>(" + expr + "), ";
    return "(void)(" + expr + "), ";
}

// One piece of text to insert, with its place among others at the same offset.
struct Insert {
    unsigned offset;
    int group;     // 0: closing braces and body-end probes, 1: opening braces, 2: probes
    long long key; // order inside the group
    int sequence;
    std::string text;
};

}  // namespace

std::string render_instrumented(const SourceText& source, ProbeStyle style,
                                const std::vector<Site>& selected) {
    if (selected.empty()) return source.text;
    std::vector<int> lines = counted_lines(selected);
    std::map<int, int> counter_of;
    for (size_t i = 0; i < lines.size(); ++i) counter_of[lines[i]] = static_cast<int>(i);

    std::vector<Insert> inserts;
    std::set<Wrap> wraps;
    int sequence = 0;
    int scope_number = 0;
    for (const Site& site : selected) {
        for (const Wrap& w : site.wraps) wraps.insert(w);
        int counter = style == ProbeStyle::function ? scope_number++ : counter_of[site.line];
        for (const Probe& p : site.probes) {
            std::string text = probe_text(source, style, site, p, counter);
            if (p.at_body_end)
                // Inside the wrap that opens at body_start, after anything that
                // opened later: deeper first, and before the wrap's own close.
                inserts.push_back({p.offset, 0, -2 * static_cast<long long>(p.body_start), sequence++, text});
            else
                inserts.push_back({p.offset, 2, 0, sequence++, text});
        }
    }
    for (const Wrap& w : wraps) {
        // Outer blocks open first and close last.
        inserts.push_back({w.first, 1, -static_cast<long long>(w.second), sequence++, "{"});
        inserts.push_back({w.second, 0, -2 * static_cast<long long>(w.first) + 1, sequence++, "}"});
    }
    std::stable_sort(inserts.begin(), inserts.end(), [](const Insert& a, const Insert& b) {
        return std::tie(a.offset, a.group, a.key, a.sequence) < std::tie(b.offset, b.group, b.key, b.sequence);
    });

    std::string body;
    body.reserve(source.text.size() + inserts.size() * 32);
    size_t start = 0;
    // A byte-order mark stays the first thing in the file.
    std::string bom;
    if (source.text.compare(0, 3, "\xEF\xBB\xBF") == 0) {
        bom = source.text.substr(0, 3);
        start = 3;
    }
    size_t done = start;
    for (const Insert& in : inserts) {
        size_t at = std::min<size_t>(std::max<size_t>(in.offset, start), source.text.size());
        body.append(source.text, done, at - done);
        done = at;
        body += in.text;
    }
    body.append(source.text, done, std::string::npos);

    const std::string name = quoted(source.path);
    const std::string count = std::to_string(lines.size());
    std::string out = bom;
    out += "#line 1 \"mirt64.h\"\n";
    out += public_header_text();
    out += "\n#line 1 \"mirt-probes\"\n";
    out += "static char mirt_source_[] = " + name + ";\n";
    if (style == ProbeStyle::table) {
        // Probes that run before the registration (other constructors) count
        // here; the registration adds them to the library's table.
        out += "static long long mirt_early_counts_[" + count + "];\n";
        out += "static long long* mirt_counters_ = mirt_early_counts_;\n";
    }
    out += "#line 1 " + name + "\n";
    out += body;
    if (style == ProbeStyle::table) {
        out += "\n#line 1 \"mirt-probes\"\n";
        out += "static int mirt_lines_[" + count + "] = {";
        for (size_t i = 0; i < lines.size(); ++i) out += (i ? ", " : "") + std::to_string(lines[i]);
        out += "};\n";
        out += "static void mirt_register_(void) __attribute__((constructor));\n";
        out += "static void mirt_register_(void) {\n";
        out += "    long long* counters = c_mirt_reg2(mirt_source_, " + count + ", mirt_lines_);\n";
        out += "    int i;\n";
        out += "    if (!counters) return;\n";
        out += "    for (i = 0; i < " + count + "; ++i) counters[i] += mirt_early_counts_[i];\n";
        out += "    mirt_counters_ = counters;\n";
        out += "}\n";
    }
    return out;
}

}  // namespace mirt_instrument
