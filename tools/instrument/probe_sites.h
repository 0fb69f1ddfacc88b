// probe_sites.h: where probes go in a parsed translation unit's main file.
#ifndef MIRT_INSTRUMENT_PROBE_SITES_H
#define MIRT_INSTRUMENT_PROBE_SITES_H

#include <vector>

#include "probe_text.h"

namespace clang {
class ASTContext;
}

namespace mirt_instrument {

// Every candidate site of the main file (select_sites picks one per line).
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
// evaluation), statements that a #pragma governs, and code of other files.
//
// functions, when given, receives every function that got an entry site: its
// printable name, the line its entry counts and the line its body ends on.
std::vector<Site> find_probe_sites(clang::ASTContext& context, ProbeStyle style,
                                   std::vector<FunctionLines>* functions = nullptr);

}  // namespace mirt_instrument

#endif
