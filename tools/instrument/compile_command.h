// compile_command.h: what a compiler command line compiles, links and writes.
#ifndef MIRT_INSTRUMENT_COMPILE_COMMAND_H
#define MIRT_INSTRUMENT_COMPILE_COMMAND_H

#include <string>
#include <vector>

namespace mirt_instrument {

enum class Language { none, c, cplusplus };

struct SourceArg {
    size_t index = 0;            // position in CompileCommand::args
    Language language = Language::none;
};

// A gcc- or clang-style command: the compiler and its arguments.
struct CompileCommand {
    std::string compiler;
    std::vector<std::string> args;
    std::vector<SourceArg> sources;   // C and C++ sources among the arguments
    bool compile_only = false;        // -c or -S: no link step
    bool preprocess_only = false;     // -E, -M, -MM, -fsyntax-only: no object is made
    bool links = false;               // the command ends in a link step
    std::string output;               // the -o value, empty when absent
    std::string depfile;              // the dependency file written beside the object, if any
};

// Reads the command; a value that an option takes (-o x, -I dir) is never a source.
CompileCommand parse_compile_command(const std::vector<std::string>& command);

// The arguments that shape how the source parses (macros, include folders,
// language standard, target options), in their order, for Clang. The
// language (-x) is left out: it goes with each source.
std::vector<std::string> parse_flags(const CompileCommand& command);

// The arguments that change the compiler's own include folders or target,
// for asking the compiler about them.
std::vector<std::string> driver_flags(const CompileCommand& command);

// The language of a file name by its extension (.c, .cpp, .cc, .cxx, .C ...).
Language language_of_name(const std::string& path);

// The folder part of a path ("." when it has none).
std::string folder_of(const std::string& path);
// The file-name part of a path.
std::string base_name(const std::string& path);

}  // namespace mirt_instrument

#endif
