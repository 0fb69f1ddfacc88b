// compiler_query.h: the real compiler's target and its own include folders.
#ifndef MIRT_INSTRUMENT_COMPILER_QUERY_H
#define MIRT_INSTRUMENT_COMPILER_QUERY_H

#include <string>
#include <vector>

#include "tools/instrument/compile_command.h"

namespace mirt_instrument {

struct CompilerSetup {
    bool known = false;                 // false when the compiler did not answer
    std::string target;                 // "x86_64-linux-gnu", "x86_64-w64-mingw32" ...
    std::string standard;               // its default language standard, as a -std= value
    std::vector<std::string> include_folders;  // the <...> search list, in order
};

// Reads what "compiler <flags> -x c|c++ -dM -E -v /dev/null" prints: the
// target and search list on standard error, the predefined macros (which
// give the default standard) on standard output.
CompilerSetup read_compiler_report(const std::string& report, const std::string& macros = "");

// The -std= value that the predefined macros of a compiler stand for.
std::string standard_of_macros(const std::string& macros, Language language);

// Asks the compiler (gcc, g++, clang, the mingw-w64 cross compilers) with the
// flags that change its target or include folders.
CompilerSetup query_compiler(const std::string& compiler, const std::vector<std::string>& flags,
                             Language language);

// True for targets whose runtime is mirt64.dll.
bool is_windows_target(const std::string& target);

// The Clang arguments that parse a source as this compiler would: its target
// and default standard, its include folders (its own intrinsic headers swapped for Clang's, which
// Clang understands), then the command's own flags.
std::vector<std::string> clang_arguments(const CompilerSetup& setup, const std::vector<std::string>& flags,
                                         const std::string& clang_resource_folder);

}  // namespace mirt_instrument

#endif
