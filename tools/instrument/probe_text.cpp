// probe_text.cpp: choosing one site per line and writing the instrumented copy.
#include "tools/instrument/probe_text.h"

#include <algorithm>
#include <map>
#include <set>
#include <tuple>

namespace mirt_instrument {

bool parse_style(const std::string& name, ProbeStyle* style) {
    if (name == "table") *style = ProbeStyle::table;
    else if (name == "atomic") *style = ProbeStyle::atomic;
    else if (name == "line") *style = ProbeStyle::line;
    else if (name == "function") *style = ProbeStyle::function;
    else return false;
    return true;
}

const char* style_name(ProbeStyle style) {
    switch (style) {
    case ProbeStyle::table: return "table";
    case ProbeStyle::atomic: return "atomic";
    case ProbeStyle::line: return "line";
    case ProbeStyle::function: return "function";
    }
    return "table";
}

namespace {
// The line sites of a selection: a line whose only site is the one at a given
// anchor counts exactly what passes that site, so that what else passes it
// (an outcome, a line without a counter) follows from that line's count.
class LineSites {
public:
    explicit LineSites(const std::vector<Site>& selected) {
        for (const Site& site : selected) {
            if (site.branch) continue;
            ++sites_on_line_[{site.file, site.line}];
            line_of_[{site.file, site.anchor}] = site.line;
        }
    }
    // The line of the site at anchor when it is the only site on it; 0 otherwise.
    int only_site(int file, unsigned anchor) const {
        auto found = line_of_.find({file, anchor});
        return found != line_of_.end() && sites_on_line_.at({file, found->second}) == 1 ? found->second : 0;
    }
    bool has_site(int file, int line) const { return sites_on_line_.count({file, line}) != 0; }
    // A site without a counter, alone on its line, whose count the map gives.
    void add_alone(int file, unsigned anchor, int line) {
        sites_on_line_[{file, line}] = 1;
        line_of_[{file, anchor}] = line;
    }

private:
    std::map<std::pair<int, int>, int> sites_on_line_;  // (file, line) -> line sites
    std::map<std::pair<int, unsigned>, int> line_of_;   // (file, anchor) -> line
};
}  // namespace

namespace {
using Roots = std::map<std::pair<int, unsigned>, unsigned>;  // (file, anchor) -> first site of its chain

// The line without a counter that a site becomes: it counts what the site at
// same_as counts, plus what the one at rounds counts (a loop's condition).
Site alias_of(const Site& site, unsigned same_as, unsigned rounds = 0) {
    Site alias;
    alias.file = site.file;
    alias.line = site.line;
    alias.anchor = site.anchor;
    alias.function = site.function;
    alias.same_as = same_as;
    alias.rounds = rounds;
    return alias;
}

// The sites of straight code that need no counter of their own move from
// kept to aliases; roots gets the first site of the chain of every site that
// passes its count on (those that moved, and those that share a line with
// the site that counts it).
void derive_straight_code(std::vector<Site>& kept, const std::vector<Site>& dropped, std::vector<Site>& aliases,
                          Roots& roots) {
    const LineSites lines(kept);
    std::vector<std::pair<const Site*, bool>> order;  // a site, and whether it counts its line
    for (const Site& site : kept)
        if (!site.branch && site.follows != 0) order.push_back({&site, true});
    for (const Site& site : dropped) order.push_back({&site, false});
    // A chain runs forward in its file: the site it follows is decided first.
    std::sort(order.begin(), order.end(), [](const auto& a, const auto& b) {
        return std::tie(a.first->file, a.first->anchor) < std::tie(b.first->file, b.first->anchor);
    });
    std::set<const Site*> moved;
    for (const auto& [site, counts_line] : order) {
        unsigned root = site->follows;
        if (auto found = roots.find({site->file, root}); found != roots.end()) root = found->second;
        int root_line = lines.only_site(site->file, root);
        if (root_line == 0) continue;
        if (counts_line && (lines.only_site(site->file, site->anchor) == 0 || site->line == root_line)) continue;
        roots[{site->file, site->anchor}] = root;
        if (counts_line) moved.insert(site);
    }
    std::vector<Site> rest;
    for (Site& site : kept) {
        if (!moved.count(&site)) {
            rest.push_back(std::move(site));
            continue;
        }
        aliases.push_back(alias_of(site, roots.at({site.file, site.anchor})));
    }
    kept = std::move(rest);
}

// Loop conditions counted by their arrivals and rounds move from kept to
// aliases (same_as: the arrivals' first site of its chain; rounds: the
// body's first site).
void derive_loop_conditions(std::vector<Site>& kept, std::vector<Site>& aliases, const Roots& roots) {
    const LineSites lines(kept);
    std::vector<Site> rest;
    for (Site& site : kept) {
        if (site.branch || site.arrivals == 0 || site.rounds == 0) {
            rest.push_back(std::move(site));
            continue;
        }
        unsigned arrivals = site.arrivals;
        if (auto found = roots.find({site.file, arrivals}); found != roots.end()) arrivals = found->second;
        int from = lines.only_site(site.file, arrivals);
        int plus = lines.only_site(site.file, site.rounds);
        int own = lines.only_site(site.file, site.anchor);
        if (from == 0 || plus == 0 || own == 0 || own == from || own == plus) {
            rest.push_back(std::move(site));
            continue;
        }
        aliases.push_back(alias_of(site, arrivals, site.rounds));
    }
    kept = std::move(rest);
}
}  // namespace

std::vector<Site> select_sites(std::vector<Site> candidates, std::vector<Site>* aliases) {
    std::stable_sort(candidates.begin(), candidates.end(), [](const Site& a, const Site& b) {
        return std::tie(a.file, a.line, a.anchor) < std::tie(b.file, b.line, b.anchor);
    });
    std::vector<Site> kept;
    std::vector<Site> dropped;  // sites of lines that another site counts, which may pass a count on
    std::set<std::tuple<int, int, int>> taken;  // (file, line, function)
    for (Site& site : candidates) {
        if (site.branch || taken.insert({site.file, site.line, site.function}).second) kept.push_back(std::move(site));
        else if (site.follows != 0) dropped.push_back(std::move(site));
    }

    Roots roots;
    if (aliases) {
        derive_straight_code(kept, dropped, *aliases, roots);
        for (Site& alias : *aliases)
            if (auto found = roots.find({alias.file, alias.same_as}); found != roots.end()) alias.same_as = found->second;
        derive_loop_conditions(kept, *aliases, roots);
    }
    auto root_of = [&](int file, unsigned anchor) {
        auto found = roots.find({file, anchor});
        return found == roots.end() ? anchor : found->second;
    };
    // A loop's condition without a counter still gives outcomes: the map gives its count.
    LineSites lines(kept);
    if (aliases)
        for (const Site& alias : *aliases)
            if (alias.rounds != 0) lines.add_alone(alias.file, alias.anchor, alias.line);
    for (Site& site : kept) {
        if (!site.branch) continue;
        site.derived.assign(site.outcomes.size(), {0, 0});
        for (size_t k = 0; k < site.sources.size() && k < site.outcomes.size(); ++k) {
            const OutcomeSource& from = site.sources[k];
            int plus = from.plus ? lines.only_site(site.file, root_of(site.file, from.plus)) : 0;
            int minus = from.minus ? lines.only_site(site.file, root_of(site.file, from.minus)) : 0;
            if (plus != 0 && (from.minus == 0 || (minus != 0 && minus != plus))) site.derived[k] = {plus, minus};
        }
    }
    return kept;
}

std::vector<LineAlias> line_aliases(const std::vector<Site>& aliases, const std::vector<Site>& selected, int file) {
    const LineSites lines(selected);
    std::map<int, int> found;
    std::map<int, int> plus_of;
    for (const Site& alias : aliases) {
        int from = alias.file == file ? lines.only_site(file, alias.same_as) : 0;
        int plus = alias.rounds != 0 && from != 0 ? lines.only_site(file, alias.rounds) : 0;
        if (from == 0 || from == alias.line || lines.has_site(file, alias.line) || (alias.rounds != 0 && plus == 0))
            continue;
        if (found.emplace(alias.line, from).second && plus != 0) plus_of[alias.line] = plus;
    }
    std::vector<LineAlias> out;
    for (const auto& [line, same_as] : found) out.push_back({line, same_as, plus_of.count(line) ? plus_of[line] : 0});
    return out;
}

std::vector<int> counted_lines(const std::vector<Site>& sites, int file, const std::vector<LineAlias>& aliases) {
    std::set<int> lines;
    for (const Site& site : sites)
        if (site.file == file && !site.branch) lines.insert(site.line);
    for (const LineAlias& alias : aliases) lines.insert(alias.line);
    return std::vector<int>(lines.begin(), lines.end());
}

std::vector<BranchOutcome> branch_outcomes(const std::vector<Site>& sites, int file, bool counted_only) {
    std::vector<BranchOutcome> out;
    int line = -1, next = 0, decision = 0;
    for (const Site& site : sites) {  // ordered by line and anchor
        if (site.file != file || !site.branch) continue;
        if (site.line != line) {
            line = site.line;
            next = 0;
            decision = 0;
        }
        for (size_t k = 0; k < site.outcomes.size(); ++k) {
            if (next + static_cast<int>(k) >= 100) continue;
            BranchOutcome b{line, line * 100 + next + static_cast<int>(k), decision, static_cast<int>(k),
                            site.kind + " " + site.outcomes[k]};
            if (k < site.derived.size()) std::tie(b.from_line, b.less_line) = site.derived[k];
            if (!counted_only || b.counted()) out.push_back(std::move(b));
        }
        next += static_cast<int>(site.outcomes.size());
        ++decision;
    }
    return out;
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

// The names of one file's probe variables: the translation unit's own file
// has "mirt_source_", "mirt_counters_"..., the others a number before the
// last underscore ("mirt_counters1_").
struct Names {
    std::string suffix;
    std::string of(const char* stem) const { return std::string(stem) + suffix + "_"; }
};

Names names_of(size_t file) { return Names{file == 0 ? "" : std::to_string(file)}; }

// What one probe executes, as an expression. A branch counter is numbered
// by its outcome's id in the line style, by its place in the table otherwise.
std::string probe_expression(ProbeStyle style, const Names& names, int line, int counter, bool branch = false) {
    if (branch && style == ProbeStyle::line)
        return "c_mirt_fn2(" + names.of("mirt_branch_source") + ", " + std::to_string(line) + ")";
    const std::string table = names.of(branch ? "mirt_branches" : "mirt_counters");
    const std::string k = std::to_string(counter);
    if (style == ProbeStyle::table) return "++" + table + "[" + k + "]";
    // A plain increment in this thread's own table; the slow way claims one,
    // or counts atomically in the shared table (thread_tables below).
    if (style == ProbeStyle::atomic)
        return "(" + table + "mine_ ? ++" + table + "mine_[" + k + "] : " + table + "slow_(" + k + "))";
    return "c_mirt_fn2(" + names.of("mirt_source") + ", " + std::to_string(line) + ")";
}

// counter: the site's place in the counter table; in the function style, a
// number that gives each scope object its own name (a lambda's scope would
// otherwise shadow its enclosing function's). unique numbers declaration probes.
std::string counted_expression(const SourceText& source, const std::string& expr, bool guarded) {
    std::string e = guarded ? "__builtin_is_constant_evaluated() || " + expr : expr;
    return source.cplusplus ? "static_cast<void>(" + e + ")" : "(void)(" + e + ")";
}

// The two parts of a decision's text: before the condition and after it.
// An outcome without a counter (empty) is only its value.
std::pair<std::string, std::string> decision_text(const SourceText& source, const std::string& on_true,
                                                  const std::string& on_false, bool guarded) {
    auto outcome = [&](const std::string& counter, const char* value) {
        return counter.empty() ? std::string(value) : counted_expression(source, counter, guarded) + ", " + value;
    };
    return {"((", ") ? (" + outcome(on_true, source.cplusplus ? "true" : "1") + ") : (" +
                      outcome(on_false, source.cplusplus ? "false" : "0") + "))"};
}

std::string probe_text(const SourceText& source, const Names& names, ProbeStyle style, const Site& site,
                       const Probe& probe, int counter, int unique) {
    const std::string line = std::to_string(site.line);
    std::string expr;
    if (style == ProbeStyle::function) {
        // Only function entries have sites in this style: a scope object in
        // C++, a named point in C, which has no destructors.
        if (source.cplusplus)
            return "mirt_obj mirt_scope" + std::to_string(counter) + "_(" + names.of("mirt_source") + ", " + line +
                   "); ";
        expr = "c_mirt_fn(" + names.of("mirt_source") + ", " + line + ")";
        if (probe.form != Probe::declaration) return expr + "; ";
    } else {
        expr = probe_expression(style, names, site.line, counter);
    }
    if (probe.form == Probe::declaration)
        return "char mirt_p" + std::to_string(unique) + "_ __attribute__((unused)) = ((void)(" + expr + "), 0); ";
    // A constexpr function may run at compile time, where no counter exists.
    const char* guard = "__builtin_is_constant_evaluated()";
    if (probe.form == Probe::statement) {
        if (site.guarded) return std::string("if (!") + guard + ") " + expr + "; ";
        return expr + "; ";
    }
    if (site.guarded) expr = std::string(guard) + " || " + expr;
    std::string counted = source.cplusplus ? "static_cast<void>(" + expr + "), " : "(void)(" + expr + "), ";
    return probe.form == Probe::operand ? "(" + counted : counted;
}

// One piece of text to insert, with its place among others at the same offset.
struct Insert {
    unsigned offset;
    int group;     // 0: closing braces and parentheses, body-end probes, 1: opening braces,
                   // 2: probes, 3: opening parentheses of operands and decisions
    long long key; // order inside the group
    int sequence;
    std::string text;
};

// The text of one file with the probes of its sites.
std::string file_with_probes(const SourceText& source, const Names& names, ProbeStyle style,
                             const std::vector<Site>& selected, int file, int* unique) {
    std::vector<int> lines = counted_lines(selected, file);
    std::map<int, int> counter_of;
    for (size_t i = 0; i < lines.size(); ++i) counter_of[lines[i]] = static_cast<int>(i);

    std::vector<Insert> inserts;
    std::set<Wrap> wraps;
    struct MacroCount {
        const MacroCopy* copy;
        unsigned end;
        int line;
        std::string count;
    };
    std::map<std::pair<unsigned, std::string>, std::vector<MacroCount>> macro_counts;
    int sequence = 0;
    int scope_number = 0;
    // An expression wrapped in parentheses: they close before anything that
    // opened earlier at the same place closes, and after what opened later.
    auto enclose = [&](unsigned begin, unsigned end, const std::string& open, const std::string& close) {
        int opened = sequence++;
        inserts.push_back({begin, 3, 0, opened, open});
        inserts.push_back({end, 0, -2 * static_cast<long long>(begin) + 1, -opened, close});
    };
    int branch_line = -1, branch_next = 0, branch_index = 0;
    for (const Site& site : selected) {
        if (site.file != file) continue;
        if (site.branch) {
            for (const Wrap& w : site.wraps) wraps.insert(w);
            // The outcomes' ids and places in the branch table, as branch_outcomes numbers them.
            if (site.line != branch_line) {
                branch_line = site.line;
                branch_next = 0;
            }
            // An outcome that the line counts give has no counter: "".
            std::vector<std::string> counted;
            for (size_t k = 0; k < site.outcomes.size(); ++k) {
                int id = site.line * 100 + branch_next + static_cast<int>(k);
                if (branch_next + static_cast<int>(k) >= 100) break;
                counted.push_back(site.is_derived(k) ? "" : probe_expression(style, names, id, branch_index++, true));
            }
            branch_next += static_cast<int>(site.outcomes.size());
            if (counted.size() != site.outcomes.size()) continue;  // past 100 outcomes on the line
            std::string loop_end;
            for (const Probe& p : site.probes)
                if (p.form == Probe::break_jump && loop_end.empty())
                    loop_end = "mirt_loop_end" + std::to_string((*unique)++) + "_";
            for (const Probe& p : site.probes) {
                if (p.form == Probe::decision) {
                    if (counted[0].empty() && counted[1].empty()) continue;
                    auto text = decision_text(source, counted[0], counted[1], site.guarded);
                    enclose(p.offset, p.end, text.first, text.second);
                } else if (p.form == Probe::case_entry) {
                    if (counted[p.outcome].empty()) continue;
                    // "goto skip; case X: count; skip: ;": control that falls
                    // into the case from above passes the count by.
                    std::string count = counted_expression(source, counted[p.outcome], false) + "; ";
                    if (p.body_start != 0) {
                        std::string skip = "mirt_skip" + std::to_string((*unique)++) + "_";
                        // After a probe that counts what comes before the case.
                        inserts.push_back({p.body_start, 2, 1, sequence++, "goto " + skip + "; "});
                        count += skip + ": ; ";
                    }
                    inserts.push_back({p.offset, 2, -1, sequence++, count});
                } else if (p.form == Probe::no_case) {
                    std::string skip = "mirt_skip" + std::to_string((*unique)++) + "_";
                    inserts.push_back({p.offset, 2, 0, sequence++,
                                       "goto " + skip + "; default: " +
                                           counted_expression(source, counted[p.outcome], false) + "; " + skip +
                                           ": ; "});
                } else if (p.form == Probe::loop_exit) {
                    // After the loop, inside any wrap of it, as a body-end probe is.
                    std::string count = counted_expression(source, counted[p.outcome], site.guarded) + "; ";
                    if (!loop_end.empty()) count += loop_end + ": ; ";
                    inserts.push_back({p.offset, 0, -2 * static_cast<long long>(p.body_start), sequence++, count});
                } else if (p.form == Probe::break_jump) {
                    inserts.push_back({p.offset, 2, 0, sequence++, "goto " + loop_end + "; "});
                } else if (!counted[p.outcome].empty()) {
                    inserts.push_back({p.offset, 2, 0, sequence++,
                                       counted_expression(source, counted[p.outcome], site.guarded) + "; "});
                }
            }
            continue;
        }
        for (const Wrap& w : site.wraps) wraps.insert(w);
        int counter = style == ProbeStyle::function ? scope_number++ : counter_of[site.line];
        for (const Probe& p : site.probes) {
            if (p.form == Probe::macro_copy) {
                Probe in_body = p;
                in_body.form = Probe::statement;
                std::string count;
                // A function's scope is one object, however often its line counts.
                for (int k = 0; k < (style == ProbeStyle::function ? 1 : p.macro->repeat); ++k)
                    count += probe_text(source, names, style, site, in_body, counter, (*unique)++);
                macro_counts[{p.offset, p.macro->name}].push_back({p.macro.get(), p.end, site.line, count});
                continue;
            }
            if (p.form == Probe::null_pointer) {
                Probe operand = p;
                operand.form = Probe::operand;
                std::string count = probe_text(source, names, style, site, operand, counter, (*unique)++);
                inserts.push_back({p.offset, 2, 0, sequence++, count + "nullptr) /* "});
                inserts.push_back({p.end, 0, 0, sequence++, " */"});
                continue;
            }
            if (p.form == Probe::default_body) {
                Probe in_body = p;
                in_body.form = Probe::statement;
                std::string count = probe_text(source, names, style, site, in_body, counter, (*unique)++);
                inserts.push_back({p.offset, 2, 0, sequence++, "{ " + count + "} /* "});
                inserts.push_back({p.end, 0, 0, sequence++, " */"});
                continue;
            }
            std::string text = probe_text(source, names, style, site, p, counter, (*unique)++);
            if (p.at_body_end) {
                // Inside the wrap that opens at body_start, after anything that
                // opened later: deeper first, and before the wrap's own close.
                inserts.push_back({p.offset, 0, -2 * static_cast<long long>(p.body_start), sequence++, text});
            } else if (p.form == Probe::operand) {
                enclose(p.offset, p.end, text, ")");
            } else {
                inserts.push_back({p.offset, 2, 0, sequence++, text});
            }
        }
    }
    // Each macro around a use is defined again once, with all its counts;
    // #line puts the use back where it was.
    for (const auto& [use, counts] : macro_counts) {
        const MacroCopy& first = *counts.front().copy;
        std::string definition = first.definition;
        std::vector<const MacroCount*> by_place;
        for (const MacroCount& c : counts) by_place.push_back(&c);
        std::sort(by_place.begin(), by_place.end(),
                  [](const MacroCount* a, const MacroCount* b) { return a->copy->at > b->copy->at; });
        for (const MacroCount* c : by_place) {
            const MacroCopy& m = *c->copy;
            std::string text = m.braces ? " { " + c->count + "} " : " " + c->count;
            definition.replace(m.at, m.cut, text);
        }
        inserts.push_back({use.first, 2, 0, sequence++,
                           "\n#pragma push_macro(\"" + first.name + "\")\n#undef " + first.name + "\n#define " +
                               definition + "\n#line " + std::to_string(counts.front().line) + "\n"});
        inserts.push_back({counts.front().end, 0, 0, sequence++,
                           "\n#pragma pop_macro(\"" + first.name + "\")\n#line " + std::to_string(first.end_line) + "\n"});
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
    if (source.text.compare(0, 3, "\xEF\xBB\xBF") == 0) start = 3;
    size_t done = start;
    for (const Insert& in : inserts) {
        size_t at = std::min<size_t>(std::max<size_t>(in.offset, start), source.text.size());
        body.append(source.text, done, at - done);
        done = at;
        body += in.text;
    }
    body.append(source.text, done, std::string::npos);
    return body;
}

// The atomic style's tables of one kind (a file's line or branch counters):
// besides the shared table, which counts atomically, kThreadTables - 1 more
// tables registered under the same name, each held by one thread at a time,
// in which that thread counts with plain increments. The runtime adds up
// tables of one name (they differ in their line tables: the k-th has k more
// entries of line 0, which never count); a thread claims a free one on its
// first count and gives it back when it ends (C++11 and later: a
// thread_local's destructor; in C a table stays claimed by its first
// thread). Threads that find none free count atomically in the shared table.
constexpr int kThreadTables = 8;

std::string thread_tables(const std::string& table, bool cplusplus) {
    const std::string n = std::to_string(kThreadTables);
    std::string t;
    t += "static mirt_probe_count_* " + table + "tables_[" + n + "];\n";
    t += "static int " + table + "owners_[" + n + "];\n";
    t += "static __thread mirt_probe_count_* " + table + "mine_;\n";
    t += "static __thread int " + table + "ended_;\n";
    if (cplusplus) {
        t += "#if __cplusplus >= 201103L\n";
        t += "struct " + table + "held_t {\n    int index;\n    ~" + table + "held_t() {\n";
        t += "        " + table + "mine_ = 0;\n        " + table + "ended_ = 1;\n";
        t += "        if (index > 0) __atomic_store_n(&" + table + "owners_[index], 0, __ATOMIC_RELEASE);\n";
        t += "    }\n};\nstatic thread_local " + table + "held_t " + table + "held_;\n#endif\n";
    }
    t += "static mirt_probe_count_ " + table + "slow_(int k) {\n    int i;\n";
    t += "    for (i = 1; i < " + n + " && !" + table + "ended_; ++i) {\n";
    t += "        if (!" + table + "tables_[i] || __atomic_load_n(&" + table + "owners_[i], __ATOMIC_RELAXED) ||\n";
    t += "            __atomic_exchange_n(&" + table + "owners_[i], 1, __ATOMIC_ACQUIRE))\n";
    t += "            continue;\n";
    t += "        " + table + "mine_ = " + table + "tables_[i];\n";
    if (cplusplus) t += "#if __cplusplus >= 201103L\n        " + table + "held_.index = i;\n#endif\n";
    t += "        return ++" + table + "mine_[k];\n    }\n";
    // Relaxed: each count is exact; the order among counters does not matter.
    t += "    return __atomic_add_fetch(&" + table + "[k], 1, __ATOMIC_RELAXED);\n}\n";
    return t;
}

}  // namespace

std::string probe_declarations(bool cplusplus, ProbeStyle style) {
    // The same declarations with and without the Windows import attribute.
    auto functions = [](const char* api) {
        std::string a = api;
        return a + "mirt_probe_count_* c_mirt_reg2(char* name, int count, int* lines);\n" + a +
               "int c_mirt_fn2(char* file, int line);\n" + a + "int c_mirt_fn(char* key, int line);\n";
    };
    std::string out = cplusplus ? "extern \"C\" {\n" : "";
    // __extension__ quiets -pedantic about long long in C89; C++98 needs the pragma.
    out += "#pragma GCC diagnostic push\n#pragma GCC diagnostic ignored \"-Wlong-long\"\n"
           "__extension__ typedef long long mirt_probe_count_;\n#pragma GCC diagnostic pop\n";
    out += "#ifdef _WIN32\n" + functions("__declspec(dllimport) ") + "#else\n" + functions("") + "#endif\n";
    if (cplusplus) out += "}\n";
    // The copy is compiled under another name than the one its #line gives:
    // g++ takes the source's classes for a header's, and warns of each that
    // holds a type of the source's anonymous namespace.
    if (cplusplus)
        out += "#if defined(__GNUC__) && !defined(__clang__) && __GNUC__ >= 6\n"
               "#pragma GCC diagnostic ignored \"-Wsubobject-linkage\"\n#endif\n";
    if (cplusplus && style == ProbeStyle::function) {
        // The scope type of the public header, which a source may not include.
        auto scope = [](const char* api) {
            return std::string("struct ") + api +
                   "mirt_obj {\n    int index;\n    mirt_obj(char* name, int line);\n    ~mirt_obj();\n"
                   "    mirt_obj& operator=(const mirt_obj& other);\n};\n";
        };
        out += "#ifdef _WIN32\n" + scope("__declspec(dllimport) ") + "#else\n" + scope("") + "#endif\n";
    }
    return out;
}

std::vector<std::string> render_unit(const std::vector<SourceText>& files, ProbeStyle style,
                                     const std::vector<Site>& selected) {
    std::vector<std::string> out;
    if (selected.empty()) {
        for (const SourceText& f : files) out.push_back(f.text);
        return out;
    }
    int unique = 0;
    std::string prologue, registration;
    // The atomic style's further tables take line tables that are longer by
    // up to kThreadTables - 1 entries of line 0 (the rest of the array).
    const std::string extra_lines = style == ProbeStyle::atomic ? " + " + std::to_string(kThreadTables - 1) : "";
    for (size_t j = 0; j < files.size(); ++j) {
        const SourceText& source = files[j];
        Names names = names_of(j);
        std::vector<int> lines = counted_lines(selected, static_cast<int>(j));
        std::string body = file_with_probes(source, names, style, selected, static_cast<int>(j), &unique);
        std::string bom = source.text.compare(0, 3, "\xEF\xBB\xBF") == 0 ? source.text.substr(0, 3) : "";
        const std::string& shown = source.shown.empty() ? source.path : source.shown;
        if (j > 0) out.push_back(bom + "#line 1 " + quoted(shown) + "\n" + body);
        else out.push_back(body);
        std::vector<BranchOutcome> branches = branch_outcomes(selected, static_cast<int>(j), true);
        if (!branches.empty() && style != ProbeStyle::function) {
            const std::string count = std::to_string(branches.size());
            prologue += "static char " + names.of("mirt_branch_source") + "[] = " + quoted(source.path + "#branches") +
                        ";\n";
            if (counts_in_tables(style)) {
                prologue += "static mirt_probe_count_ " + names.of("mirt_early_branches") + "[" + count + "];\n";
                prologue += "static mirt_probe_count_* " + names.of("mirt_branches") + " = " +
                            names.of("mirt_early_branches") + ";\n";
                if (style == ProbeStyle::atomic) prologue += thread_tables(names.of("mirt_branches"), source.cplusplus);
                registration += "static int " + names.of("mirt_branch_ids") + "[" + count + extra_lines + "] = {";
                for (size_t i = 0; i < branches.size(); ++i)
                    registration += (i ? ", " : "") + std::to_string(branches[i].id);
                registration += "};\n";
            }
        }
        if (lines.empty()) continue;

        const std::string count = std::to_string(lines.size());
        prologue += "static char " + names.of("mirt_source") + "[] = " + quoted(source.path) + ";\n";
        if (!counts_in_tables(style)) continue;
        // Probes that run before the registration (other constructors) count
        // in the early table; the registration adds them to the library's.
        prologue += "static mirt_probe_count_ " + names.of("mirt_early_counts") + "[" + count + "];\n";
        prologue += "static mirt_probe_count_* " + names.of("mirt_counters") + " = " + names.of("mirt_early_counts") + ";\n";
        if (style == ProbeStyle::atomic) prologue += thread_tables(names.of("mirt_counters"), source.cplusplus);
        std::string table = names.of("mirt_lines");
        registration += "static int " + table + "[" + count + extra_lines + "] = {";
        for (size_t i = 0; i < lines.size(); ++i) registration += (i ? ", " : "") + std::to_string(lines[i]);
        registration += "};\n";
    }

    std::string main;
    main += files[0].text.compare(0, 3, "\xEF\xBB\xBF") == 0 ? "\xEF\xBB\xBF" : "";
    main += "#line 1 \"mirt-probes\"\n";
    main += probe_declarations(files[0].cplusplus, style);
    main += prologue;
    main += "#line 1 " + quoted(files[0].path) + "\n";
    main += out[0];
    if (counts_in_tables(style)) {
        main += "\n#line 1 \"mirt-probes\"\n" + registration;
        main += "static void mirt_register_(void) __attribute__((constructor));\n";
        main += "static void mirt_register_(void) {\n";
        main += "    mirt_probe_count_* counters;\n";
        main += "    int i;\n";
        // Each table: registered, given the counts made before, and from
        // then on the one the probes count in.
        auto register_table = [&](const Names& names, size_t count, const char* source, const char* ids,
                                  const char* early, const char* table) {
            const std::string n = std::to_string(count);
            main += "    counters = c_mirt_reg2(" + names.of(source) + ", " + n + ", " + names.of(ids) + ");\n";
            main += "    if (counters) {\n";
            main += "        for (i = 0; i < " + n + "; ++i) counters[i] += " + names.of(early) + "[i];\n";
            main += "        " + names.of(table) + " = counters;\n";
            main += "    }\n";
            if (style == ProbeStyle::atomic)
                main += "    for (i = 1; i < " + std::to_string(kThreadTables) + "; ++i) " + names.of(table) +
                        "tables_[i] = c_mirt_reg2(" + names.of(source) + ", " + n + " + i, " + names.of(ids) + ");\n";
        };
        for (size_t j = 0; j < files.size(); ++j) {
            Names names = names_of(j);
            std::vector<int> lines = counted_lines(selected, static_cast<int>(j));
            if (!lines.empty())
                register_table(names, lines.size(), "mirt_source", "mirt_lines", "mirt_early_counts", "mirt_counters");
            size_t branches = branch_outcomes(selected, static_cast<int>(j), true).size();
            if (branches > 0)
                register_table(names, branches, "mirt_branch_source", "mirt_branch_ids", "mirt_early_branches",
                               "mirt_branches");
        }
        main += "}\n";
    }
    out[0] = main;
    return out;
}

std::string render_instrumented(const SourceText& source, ProbeStyle style,
                                const std::vector<Site>& selected) {
    return render_unit({source}, style, selected)[0];
}

}  // namespace mirt_instrument
