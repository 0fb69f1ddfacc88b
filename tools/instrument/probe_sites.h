// probe_sites.h: where probes go in a parsed translation unit's main file.
#ifndef MIRT_INSTRUMENT_PROBE_SITES_H
#define MIRT_INSTRUMENT_PROBE_SITES_H

#include <functional>
#include <string>
#include <vector>

#include "tools/instrument/probe_text.h"

namespace clang {
class ASTContext;
class FileID;
}

namespace mirt_instrument {

struct SiteOptions {
    ProbeStyle style = ProbeStyle::table;
    // Whether the project's own headers and included sources get probes too
    // (system headers never do), and which of them, by real path (all when
    // empty).
    bool headers = true;
    std::function<bool(const std::string&)> probe_file;
    // Folders that the command itself makes system folders (-isystem): the
    // project's own headers there get probes too, as in the objects that
    // include them by -I (absolute, without "." and ".." parts).
    std::vector<std::string> command_system_folders;
    // Whether decisions get branch probes: the outcomes of if and loop
    // conditions, of each operand of && and ||, the arms of ?:, the cases of
    // a switch (not in the function style).
    bool branches = true;
};

// Every candidate site of the main file and of the project's own headers and
// included sources (select_sites picks one per line).
//
// A line is counted each time control enters it from elsewhere: the first
// statement that starts on it, a case or goto label that starts it, the start
// of a function whose name is on it, a catch handler, and for loops every
// evaluation of the condition (entry plus each further iteration). Statements
// that no probe can reach without changing the program are left alone:
// anything inside a macro expansion (a statement that a macro starts is
// counted before the macro), unevaluated operands (sizeof, decltype,
// noexcept), the headers of for, if and switch, consteval functions, constexpr
// functions before C++14 (later ones get probes that skip compile-time
// evaluation), statements that a #pragma governs, and system headers.
//
// Inside statements, a line that starts a part that may run or not gets a
// count of its own, as gcov gives it: the right operand of && and ||, an arm
// of ?:, a call's argument that itself calls or assigns, a for loop's
// increment, a member initialiser. Not in what must stay a constant
// expression (if constexpr, constexpr and constant static initialisers).
//
// functions, when given, receives every function that got an entry site: its
// printable name, the line its entry counts and the line its body ends on;
// files, the files that sites and functions name by index (0: the main file).
// Whether the file at loc is a system header that no probe goes into: one
// of the compiler's own folders, not a folder the command names by -isystem.
bool in_system_header(clang::ASTContext& context, const SiteOptions& options, unsigned raw_location);

std::vector<Site> find_probe_sites(clang::ASTContext& context, const SiteOptions& options,
                                   std::vector<FunctionLines>* functions = nullptr,
                                   std::vector<clang::FileID>* files = nullptr);

}  // namespace mirt_instrument

#endif
