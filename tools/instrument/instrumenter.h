// instrumenter.h: parsing one source with Clang and writing its instrumented copy.
#ifndef MIRT_INSTRUMENT_INSTRUMENTER_H
#define MIRT_INSTRUMENT_INSTRUMENTER_H

#include <string>
#include <vector>

#include "tools/instrument/compile_command.h"
#include "tools/instrument/probe_sites.h"
#include "tools/instrument/probe_text.h"

namespace mirt_instrument {

// Another file of the project that the source reads: a header or an
// included source, with probes or without (its copy must stand beside the
// others, so that includes relative to it find the copies).
struct ProjectFile {
    std::string name;             // as its probes name it: relative to the working folder when under it, else absolute
    std::string path;             // where the compiler finds it: absolute, without "." and ".." parts
    std::string text;             // its copy
    std::vector<int> lines;       // its counted lines (none: the copy is the original under a #line)
    std::vector<FunctionLines> functions;
    std::vector<BranchOutcome> branches;
    std::string original;
    std::vector<LineAlias> aliases;  // lines that count what another line counts
};

struct InstrumentResult {
    bool parsed = false;          // false: Clang could not parse it; text is the original
    std::string text;             // the instrumented copy (or the original)
    std::vector<int> lines;       // the counted lines
    std::vector<FunctionLines> functions;  // every function that got an entry probe
    std::vector<BranchOutcome> branches;   // every branch outcome counted
    std::string original;         // the source as read, for its checksum in the line map
    std::string problem;          // why the source was passed through unchanged
    std::vector<ProjectFile> others;  // with SiteOptions::headers: the project's other files it reads
    std::vector<LineAlias> aliases;   // lines that count what another line counts
};

// The Clang arguments for a source of the command: the real compiler is asked
// for its target and include folders, the command's own parse flags follow.
std::vector<std::string> clang_arguments_for(const CompileCommand& command, Language language);

// Parses source (a path as the command names it) with the Clang arguments and
// instruments it. Never throws; a source that does not parse comes back as it was.
InstrumentResult instrument_source(const std::string& source, Language language,
                                   const std::vector<std::string>& clang_args, const SiteOptions& options);

// path made absolute against the working folder, without "." and ".." parts
// (lexically: symbolic links are not followed).
std::string absolute_path(const std::string& path);

}  // namespace mirt_instrument

#endif
