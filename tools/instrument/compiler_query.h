// compiler_query.h: the real compiler's target and its own include folders.
#ifndef MIRT_INSTRUMENT_COMPILER_QUERY_H
#define MIRT_INSTRUMENT_COMPILER_QUERY_H

#include <string>
#include <vector>

#include "compile_command.h"

namespace mirt_instrument {

struct CompilerSetup {
    bool known = false;                 // false when the compiler did not answer
    std::string target;                 // "x86_64-linux-gnu", "x86_64-w64-mingw32" ...
    std::vector<std::string> include_folders;  // the <...> search list, in order
};

// Reads what "compiler <flags> -x c|c++ -E -v -" prints on standard error.
CompilerSetup read_compiler_report(const std::string& report);

// Asks the compiler (gcc, g++, clang, the mingw-w64 cross compilers) with the
// flags that change its target or include folders.
CompilerSetup query_compiler(const std::string& compiler, const std::vector<std::string>& flags,
                             Language language);

// True for targets whose runtime is mirt64.dll.
bool is_windows_target(const std::string& target);

// The Clang arguments that parse a source as this compiler would: its target,
// its include folders (its own intrinsic headers swapped for Clang's, which
// Clang understands), then the command's own flags.
std::vector<std::string> clang_arguments(const CompilerSetup& setup, const std::vector<std::string>& flags,
                                         const std::string& clang_resource_folder);

}  // namespace mirt_instrument

#endif
