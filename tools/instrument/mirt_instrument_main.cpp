// mirt-instrument: writes the instrumented copy of one C or C++ source.
//
//   mirt-instrument [--style=table|atomic|line|function] [-o OUTPUT] [--lines] [--map FILE] SOURCE [-- COMPILE COMMAND]
//
// The compile command (the compiler and its arguments, as the build runs it)
// decides how the source parses; without one Clang's defaults apply. The copy
// goes to OUTPUT or standard output; --lines prints the counted lines instead;
// --map also writes the source's line map.
// A source that does not parse is written unchanged, with one warning.
#include <cstdio>
#include <fstream>
#include <iostream>
#include <set>
#include <string>
#include <vector>

#include "tools/instrument/compile_command.h"
#include "tools/instrument/instrumenter.h"
#include "tools/instrument/line_map.h"

using namespace mirt_instrument;

namespace {

int usage() {
    std::fprintf(stderr,
                 "usage: mirt-instrument [--style=table|atomic|line|function] [-o OUTPUT] [--lines] [--map FILE] SOURCE "
                 "[-- COMPILER ARGS...]\n");
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    ProbeStyle style = ProbeStyle::table;
    std::string output;
    std::string source;
    std::string map;
    bool list_lines = false;
    std::vector<std::string> command;
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        if (a == "--help") {
            std::printf("usage: mirt-instrument [--style=table|atomic|line|function] [-o OUTPUT] [--lines] [--map FILE] "
                        "SOURCE [-- COMPILER ARGS...]\n\nWrites the instrumented copy of SOURCE (probes in SOURCE "
                        "alone) as the compile command would parse it;\n--lines lists its counted lines instead, "
                        "--map writes its line map.\n");
            return 0;
        } else if (a == "--version") {
            std::printf("mirt-instrument %s\n", MIRT_VERSION);
            return 0;
        } else if (a == "--") {
            command.assign(argv + i + 1, argv + argc);
            break;
        } else if (a.compare(0, 8, "--style=") == 0) {
            if (!parse_style(a.substr(8), &style)) return usage();
        } else if (a == "-o" && i + 1 < argc) {
            output = argv[++i];
        } else if (a == "--map" && i + 1 < argc) {
            map = argv[++i];
        } else if (a == "--lines") {
            list_lines = true;
        } else if (!a.empty() && a[0] == '-') {
            return usage();
        } else if (source.empty()) {
            source = a;
        } else {
            return usage();
        }
    }
    if (source.empty()) return usage();

    Language language = language_of_name(source);
    CompileCommand cmd = parse_compile_command(command);
    for (const SourceArg& s : cmd.sources)
        if (cmd.args[s.index] == source) language = s.language;
    if (language == Language::none) language = Language::cplusplus;

    // One file's copy: the headers keep their text (mirt-cc gives them probes).
    SiteOptions site;
    site.style = style;
    site.headers = false;
    InstrumentResult r = instrument_source(source, language, clang_arguments_for(cmd, language), site);
    if (!r.parsed)
        std::fprintf(stderr, "mirt-instrument: warning: %s left without probes: %s\n", source.c_str(),
                     r.problem.c_str());
    if (!map.empty()) {
        LineMapUnit unit;
        unit.source = source;
        unit.folder = current_folder();
        unit.built = now_ns();
        unit.style = style;
        unit.files.push_back(
            {source, text_checksum(r.original), r.lines, r.functions, r.parsed ? "" : r.problem, r.branches, r.aliases});
        if (!write_line_map(map, line_map_text(unit))) {
            std::fprintf(stderr, "mirt-instrument: cannot write %s\n", map.c_str());
            return 1;
        }
    }
    std::string text;
    if (list_lines) {
        std::set<int> lines(r.lines.begin(), r.lines.end());
        for (const LineAlias& a : r.aliases) lines.insert(a.line);
        for (int line : lines) text += source + ":" + std::to_string(line) + "\n";
    } else {
        text = r.text;
    }
    if (output.empty()) {
        std::cout << text;
        std::cout.flush();
        return std::cout ? 0 : 1;
    }
    std::ofstream out(output, std::ios::binary);
    out << text;
    out.close();
    if (!out) {
        std::fprintf(stderr, "mirt-instrument: cannot write %s\n", output.c_str());
        return 1;
    }
    return 0;
}
