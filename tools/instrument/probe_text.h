// probe_text.h: probe sites and the instrumented text made from them.
#ifndef MIRT_INSTRUMENT_PROBE_TEXT_H
#define MIRT_INSTRUMENT_PROBE_TEXT_H

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace mirt_instrument {

// How probes count: one registered counter table per file with a plain
// increment per probe (table) or an atomic one, exact under threads (atomic),
// a locked source-line call per probe (line), or one named-point scope per
// function (function).
enum class ProbeStyle { table, atomic, line, function };

// Whether the style counts in registered tables (table, atomic).
inline bool counts_in_tables(ProbeStyle style) { return style == ProbeStyle::table || style == ProbeStyle::atomic; }

// "table", "atomic", "line" or "function"; false for anything else.
bool parse_style(const std::string& name, ProbeStyle* style);
const char* style_name(ProbeStyle style);

// A count that goes into a copy of a macro's definition: the definition
// ("NAME(a, b) ...", continuation lines and all), the place of the count in
// it, the bytes it replaces ("= default"), whether it is a body in braces,
// how often it counts, and the line where the use that the copy serves ends.
struct MacroCopy {
    std::string name;
    std::string definition;
    size_t at = 0;
    size_t cut = 0;
    bool braces = false;
    int repeat = 1;
    int end_line = 0;
};

// One probe placed in the text at a byte offset of the original file.
struct Probe {
    enum Form {
        statement,    // a statement of its own, before the code at offset
        prefix,       // the left operand of a comma, before the expression at offset
        declaration,  // C: an unused variable whose initialiser counts, where a
                      // statement would come before a declaration (C89, or
                      // -Wdeclaration-after-statement)
        operand,      // the left operand of a parenthesised comma around the
                      // expression from offset to end (an operand of && or ?:)
        decision,     // the condition from offset to end becomes
                      // "((cond) ? (count outcome 0, true) : (count outcome 1, false))"
        case_entry,   // after a case label's colon: counts the jump to it; the
                      // code above skips the count when it falls through (from
                      // body_start, the label's first byte, unless 0)
        no_case,      // before the closing brace of a switch without default: a
                      // default label that counts the jump when no case matches,
                      // which the code above skips
        loop_exit,    // right after a loop (from body_start, the loop's first
                      // byte): counts its end by its condition; a label after
                      // the count takes the loop's breaks past it
        break_jump,   // before a break of that loop: the jump to that label
        macro_copy,   // a macro use from offset to end whose macro defines a
                      // function: the macro is defined again around the use,
                      // with the count after the body's opening brace (macro)
        default_body, // "= default;" from offset to end becomes a body that
                      // counts: "{ count; } /* = default; */"
        null_pointer, // a null pointer constant from offset to end ("0", "NULL")
                      // becomes "(count, nullptr) /* 0 */" (C++11): a comma
                      // would turn the constant into a plain number
    };
    Form form = statement;
    unsigned offset = 0;
    // For a probe at the end of a loop body: the start of that body. The probe
    // then stays inside the braces that wrap the body and after everything
    // that the body's own statements close at the same offset.
    bool at_body_end = false;
    unsigned body_start = 0;
    unsigned end = 0;  // operand, decision: the byte after the expression
    int outcome = 0;   // a branch site's outcome that this probe counts
    std::shared_ptr<const MacroCopy> macro = nullptr;  // macro_copy
};

// A statement that must become a block so that a probe can go before it:
// its first byte and the byte after its end (after its semicolon).
using Wrap = std::pair<unsigned, unsigned>;

// Where a branch outcome's count can come from instead of a counter: the
// count of the site anchored at plus (the first statement of the branch that
// the outcome enters, which nothing else enters), less that of the site
// anchored at minus (0: none; the site that counts the decision's
// evaluations, when the other outcome is plus). Anchors are offsets in the
// site's file.
struct OutcomeSource {
    unsigned plus = 0;
    unsigned minus = 0;
};

// One way control reaches a source line: its probes all count that line.
struct Site {
    int file = 0;             // which file of the translation unit (0: its own source)
    int line = 0;             // the source line that is counted
    unsigned anchor = 0;      // offset of the code that the site stands for
    int function = 0;         // the function whose code it counts (its entry counts the function entered)
    bool function_entry = false;
    bool guarded = false;     // inside a constexpr function: not counted at compile time
    std::vector<Probe> probes;
    std::vector<Wrap> wraps;
    // A branch site counts the outcomes of one decision on its line instead
    // of the line: a condition's true and false, the arms of ?:, the cases of
    // a switch. Its counters live in a table of their own.
    bool branch = false;
    std::vector<std::string> outcomes;  // what each outcome is ("true", "case 3:")
    std::string kind;                   // "if", "while", "for", "do", "&&", "||", "?:", "switch"
    // Outcomes that the line counts already give need no counter of their
    // own. While sites are found, an outcome may name the sites whose lines
    // would give it (see OutcomeSource); select_sites keeps that where those
    // lines count nothing else, and the outcome's count is then from_line's
    // count less less_line's (0: none). Empty, or from_line 0: counted.
    std::vector<OutcomeSource> sources;
    std::vector<std::pair<int, int>> derived;  // per outcome: (from_line, less_line)
    bool is_derived(size_t k) const { return k < derived.size() && derived[k].first != 0; }
    // A line without a probe that counts what the site at this anchor counts
    // (line_aliases decides whether it holds); 0 for every other site.
    unsigned same_as = 0;
    // The anchor of the site that control always passes just before this
    // one, with nothing between them that calls, jumps, throws or is jumped
    // to: this site counts what that one counts. 0: none.
    unsigned follows = 0;
    // A loop condition's site: its evaluations are the loop's arrivals (what
    // the site at arrivals counts) and its rounds (what the site at rounds,
    // the body's first statement, counts), every round coming back to the
    // condition; select_sites may leave it without a counter. 0: not such a
    // site. In an alias: the second line whose count adds to same_as's.
    unsigned arrivals = 0;
    unsigned rounds = 0;
};

// A line without a counter of its own that counts what another line counts.
struct LineAlias {
    int line = 0;
    int same_as = 0;
    int plus = 0;  // a line whose count adds to same_as's (a loop's condition); 0: none
};

// One branch outcome of a file, numbered as its counter is: line * 100 plus
// its place among the line's outcomes (at most 100 a line; more are left
// uncounted), so that every object that includes a file numbers it alike.
struct BranchOutcome {
    int line = 0;
    int id = 0;
    int decision = 0;   // the decision's place on its line
    int outcome = 0;    // the outcome's place in its decision
    std::string text;   // "if true", "switch case 3"
    // An outcome without a counter: from_line's count less less_line's.
    int from_line = 0;
    int less_line = 0;
    bool counted() const { return from_line == 0; }
};

// The branch outcomes of one file's branch sites, in id order; counted_only:
// those with a counter, in counter order.
std::vector<BranchOutcome> branch_outcomes(const std::vector<Site>& sites, int file, bool counted_only = false);

// A function of the line map: calls are the count of its first line (a line
// where two functions start counts the calls of both).
struct FunctionLines {
    std::string name;   // qualified, with parameter types in C++ ("ns::f(int)")
    int first_line = 0; // the line its entry probe counts
    int last_line = 0;  // the line of its closing brace
    int file = 0;       // which file of the translation unit
};

// Keeps, for each line, the site that comes first on it among those of each
// function: control enters a line once from the code above it, and once more
// for every function (lambda, one-line member) that starts on it and is called.
// Branch sites are all kept, each outcome's derived set where the sites that
// its sources name were kept and are the only ones on their lines. Sites come
// back ordered by file, line, then anchor.
//
// With aliases (the lines without probes among the candidates, same_as set),
// a site that follows another needs no counter when it is the only site on
// its line and the first site of its chain is the only one on its own: it
// joins the aliases, as a line that counts what that first site's line
// counts. Aliases and outcome sources that name such a site then name the
// first site of its chain. Straight code thus costs one increment, however
// many lines it spans. So does a loop's condition whose arrivals and rounds
// are counted by sites alone on their lines: it counts both together.
std::vector<Site> select_sites(std::vector<Site> candidates, std::vector<Site>* aliases = nullptr);

// The distinct counted lines of the sites of one file, and the lines of its
// aliases (lines that count what another line counts), ascending.
std::vector<int> counted_lines(const std::vector<Site>& sites, int file = 0,
                               const std::vector<LineAlias>& aliases = {});

// The aliases among candidate sites (same_as set; not in the selection) that
// hold once the sites are selected: the line they copy has no other site than
// the one they name, and their own line has none. By line.
std::vector<LineAlias> line_aliases(const std::vector<Site>& aliases, const std::vector<Site>& selected, int file);

struct SourceText {
    SourceText(std::string p, std::string t, bool cpp = true, std::string s = "")
        : path(std::move(p)), text(std::move(t)), cplusplus(cpp), shown(std::move(s)) {}
    std::string path;       // the name that probes, __FILE__ and diagnostics use
    std::string text;       // the original bytes
    bool cplusplus = true;
    std::string shown;      // for __FILE__ and diagnostics, when not path (a header's own spelling)
};

// The instrumented copies of a translation unit's files: files[0] is its own
// source, the others the project's headers and included sources that it
// reads, each with the sites whose file is its index. The first copy holds
// the declarations of the library functions that probes call, the probe
// variables of every file, a #line that gives
// the original name back, the text with its probes, and (table style) one
// registration at load time of a counter table per file with probes. Every
// other copy is its text with probes after a #line that gives its name back.
// With no site anywhere, every text comes back unchanged.
std::vector<std::string> render_unit(const std::vector<SourceText>& files, ProbeStyle style,
                                     const std::vector<Site>& selected);

// The copy of a single file (render_unit of that file alone).
std::string render_instrumented(const SourceText& source, ProbeStyle style,
                                const std::vector<Site>& selected);

// The declarations of the library functions that probes call, for the top
// of a copy. They define no macro and no typedef that the public header has,
// and use no type that strict C89 rejects, so that a project's own flags
// (-pedantic -Werror, -Wunused-macros) find nothing to say, and a source that
// includes the public header itself still compiles.
std::string probe_declarations(bool cplusplus, ProbeStyle style);

// A C string literal with the given bytes ("a\\b" for a\b).
std::string quoted(const std::string& bytes);

}  // namespace mirt_instrument

#endif
