// probe_text.h: probe sites and the instrumented text made from them.
#ifndef MIRT_INSTRUMENT_PROBE_TEXT_H
#define MIRT_INSTRUMENT_PROBE_TEXT_H

#include <string>
#include <utility>
#include <vector>

namespace mirt_instrument {

// How probes count: one registered counter table per file with a plain
// increment per probe (table), a locked source-line call per probe (line), or
// one named-point scope per function (function).
enum class ProbeStyle { table, line, function };

// "table", "line" or "function"; false for anything else.
bool parse_style(const std::string& name, ProbeStyle* style);
const char* style_name(ProbeStyle style);

// One probe placed in the text at a byte offset of the original file.
struct Probe {
    enum Form {
        statement,  // a statement of its own, before the code at offset
        prefix,     // the left operand of a comma, before the expression at offset
    };
    Form form = statement;
    unsigned offset = 0;
    // For a probe at the end of a loop body: the start of that body. The probe
    // then stays inside the braces that wrap the body and after everything
    // that the body's own statements close at the same offset.
    bool at_body_end = false;
    unsigned body_start = 0;
};

// A statement that must become a block so that a probe can go before it:
// its first byte and the byte after its end (after its semicolon).
using Wrap = std::pair<unsigned, unsigned>;

// One way control reaches a source line: its probes all count that line.
struct Site {
    int line = 0;             // the source line that is counted
    unsigned anchor = 0;      // offset of the code that the site stands for
    int function = 0;         // the function whose code it counts (its entry counts the function entered)
    bool function_entry = false;
    bool guarded = false;     // inside a constexpr function: not counted at compile time
    std::vector<Probe> probes;
    std::vector<Wrap> wraps;
};

// A function of the line map: calls are the count of its first line (a line
// where two functions start counts the calls of both).
struct FunctionLines {
    std::string name;   // qualified, with parameter types in C++ ("ns::f(int)")
    int first_line = 0; // the line its entry probe counts
    int last_line = 0;  // the line of its closing brace
};

// Keeps, for each line, the site that comes first on it among those of each
// function: control enters a line once from the code above it, and once more
// for every function (lambda, one-line member) that starts on it and is called.
// Sites come back ordered by line, then anchor.
std::vector<Site> select_sites(std::vector<Site> candidates);

// The distinct counted lines of the sites, ascending.
std::vector<int> counted_lines(const std::vector<Site>& sites);

struct SourceText {
    std::string path;       // the name that probes, __FILE__ and diagnostics use
    std::string text;       // the original bytes
    bool cplusplus = true;
};

// The instrumented copy: the public header, the file's probe declarations, a
// #line that gives the original name back, the original text with the probes
// of the selected sites, and (table style) the registration at load time.
// With no site, the original text comes back unchanged.
std::string render_instrumented(const SourceText& source, ProbeStyle style,
                                const std::vector<Site>& selected);

// The text of include/mirt64.h, built into the tool.
const char* public_header_text();

// A C string literal with the given bytes ("a\\b" for a\b).
std::string quoted(const std::string& bytes);

}  // namespace mirt_instrument

#endif
