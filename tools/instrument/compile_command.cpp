// compile_command.cpp: reading gcc-style compiler command lines.
#include "tools/instrument/compile_command.h"

#include <cstring>
#include <set>

namespace mirt_instrument {
namespace {

// Options whose value is the next argument when not joined to them.
const std::set<std::string>& separate_value_options() {
    static const std::set<std::string> options = {
        "-o", "-x", "-MF", "-MT", "-MQ", "-MJ", "-I", "-D", "-U", "-include", "-imacros",
        "-isystem", "-iquote", "-idirafter", "-iprefix", "-iwithprefix", "-iwithprefixbefore",
        "-isysroot", "-Xlinker", "-Xassembler", "-Xpreprocessor", "-Xclang", "-L", "-l", "-T",
        "-u", "-e", "-z", "-aux-info", "-dumpbase", "-dumpbase-ext", "-dumpdir", "-wrapper",
        "--param", "-arch", "-target", "--sysroot", "-B", "-G", "-A", "-soname"};
    return options;
}

bool starts_with(const std::string& s, const char* prefix) {
    return s.compare(0, std::strlen(prefix), prefix) == 0;
}

Language language_of_x(const std::string& value) {
    if (value == "c") return Language::c;
    if (value == "c++") return Language::cplusplus;
    return Language::none;
}

}  // namespace

Language language_of_name(const std::string& path) {
    size_t dot = path.rfind('.');
    size_t slash = path.find_last_of("/\\");
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return Language::none;
    std::string ext = path.substr(dot + 1);
    if (ext == "c") return Language::c;
    static const std::set<std::string> cxx = {"cc", "cp", "cxx", "cpp", "CPP", "c++", "C"};
    if (cxx.count(ext)) return Language::cplusplus;
    return Language::none;
}

std::string folder_of(const std::string& path) {
    size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    if (slash == 0) return "/";
    return path.substr(0, slash);
}

std::string base_name(const std::string& path) {
    size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

CompileCommand parse_compile_command(const std::vector<std::string>& command) {
    CompileCommand cmd;
    if (command.empty()) return cmd;
    cmd.compiler = command[0];
    cmd.args.assign(command.begin() + 1, command.end());
    Language forced = Language::none;
    bool forced_other = false;  // -x with a language that is not C or C++
    bool writes_deps = false;
    bool any_input = false;
    for (size_t i = 0; i < cmd.args.size(); ++i) {
        const std::string& a = cmd.args[i];
        bool has_next = i + 1 < cmd.args.size();
        if (a == "-c" || a == "-S") {
            cmd.compile_only = true;
        } else if (a == "-E" || a == "-M" || a == "-MM" || a == "-fsyntax-only") {
            cmd.preprocess_only = true;
        } else if (a == "-MD" || a == "-MMD") {
            writes_deps = true;
        } else if (a == "-x" && has_next) {
            forced = language_of_x(cmd.args[i + 1]);
            forced_other = forced == Language::none && cmd.args[i + 1] != "none";
            ++i;
        } else if (starts_with(a, "-x") && a.size() > 2) {
            forced = language_of_x(a.substr(2));
            forced_other = forced == Language::none && a.substr(2) != "none";
        } else if (a == "-o" && has_next) {
            cmd.output = cmd.args[++i];
        } else if (a == "-MF" && has_next) {
            cmd.depfile = cmd.args[++i];
        } else if (starts_with(a, "-MF") && a.size() > 3) {
            cmd.depfile = a.substr(3);
        } else if (separate_value_options().count(a) && has_next) {
            ++i;
        } else if (!a.empty() && a[0] == '-') {
            // A flag; "-" alone reads standard input, which is not instrumented.
            if (a == "-") any_input = true;
        } else if (!a.empty() && a[0] == '@') {
            any_input = true;  // a response file: its contents are not read
        } else {
            any_input = true;
            Language lang = forced != Language::none ? forced
                            : forced_other           ? Language::none
                                                     : language_of_name(a);
            // A C++ driver (g++, clang++, x86_64-w64-mingw32-g++) compiles a
            // ".c" file as C++ unless -x says otherwise.
            if (forced == Language::none && lang == Language::c &&
                base_name(cmd.compiler).find("++") != std::string::npos)
                lang = Language::cplusplus;
            if (lang != Language::none) cmd.sources.push_back({i, lang});
        }
    }
    if (writes_deps && cmd.depfile.empty() && !cmd.preprocess_only) {
        // gcc names the file after the object: x.o gives x.d.
        std::string base = cmd.output;
        if (base.empty() && !cmd.sources.empty()) base = base_name(cmd.args[cmd.sources[0].index]);
        size_t dot = base.rfind('.');
        if (dot != std::string::npos && base.find('/', dot) == std::string::npos) base.erase(dot);
        if (!base.empty()) cmd.depfile = base + ".d";
    }
    if (!writes_deps) cmd.depfile.clear();
    cmd.links = any_input && !cmd.compile_only && !cmd.preprocess_only;
    return cmd;
}

std::vector<std::string> parse_flags(const CompileCommand& command) {
    // Options that take a value, kept with it.
    static const std::set<std::string> kept_with_value = {
        "-I", "-D", "-U", "-include", "-imacros", "-isystem", "-iquote", "-idirafter",
        "-iprefix", "-iwithprefix", "-iwithprefixbefore", "-isysroot", "--sysroot"};
    static const char* kept_joined[] = {
        "-I", "-D", "-U", "-std=", "-isystem", "-iquote", "-idirafter", "-isysroot", "--sysroot=",
        "-O", "-march=", "-mtune=", "-mcpu=", "-fopenmp", "-fms-extensions",
        "-fno-ms-extensions", "-fexceptions", "-fno-exceptions", "-fcxx-exceptions",
        "-fno-cxx-exceptions", "-frtti", "-fno-rtti", "-fsigned-char", "-funsigned-char",
        "-fshort-wchar", "-fshort-enums", "-fchar8_t", "-fno-char8_t", "-fgnu89-inline",
        "-fno-gnu-keywords", "-fgnu-keywords", "-fPIC", "-fpic", "-fPIE", "-fpie", "-fno-pic",
        "-fno-PIC", "-fno-pie", "-fno-PIE", "-ffast-math", "-fno-fast-math",
        "-ffinite-math-only", "-fno-finite-math-only", "-fwrapv", "-fno-strict-aliasing",
        "-m32", "-m64", "-mx32", "-msse", "-mavx", "-mfma", "-mbmi", "-mpopcnt", "-maes",
        "-mpclmul", "-mf16c", "-mlzcnt", "-mno-sse", "-mno-avx", "-stdlib=", "-nostdinc",
        "-nostdinc++", "-pthread", "-ansi", "-fdollars-in-identifiers", "-fno-operator-names",
        "-fsized-deallocation", "-fno-sized-deallocation", "-faligned-new", "-fno-threadsafe-statics",
        "-fno-elide-constructors", "-fchar8_t", "-funsigned-bitfields", "-fgnu-runtime"};
    std::vector<std::string> flags;
    std::set<size_t> source_indexes;
    for (const SourceArg& s : command.sources) source_indexes.insert(s.index);
    for (size_t i = 0; i < command.args.size(); ++i) {
        const std::string& a = command.args[i];
        if (source_indexes.count(i)) continue;
        bool has_next = i + 1 < command.args.size();
        if (kept_with_value.count(a) && has_next) {
            flags.push_back(a);
            flags.push_back(command.args[++i]);
            continue;
        }
        if (separate_value_options().count(a) && has_next) {
            ++i;
            continue;
        }
        // The language goes with each source (-x c or -x c++ before it).
        if (a.empty() || a[0] != '-' || starts_with(a, "-x")) continue;
        if (a == "-O" || (a.size() == 3 && starts_with(a, "-O"))) {
            flags.push_back(a == "-Og" ? "-O1" : a);
            continue;
        }
        for (const char* prefix : kept_joined) {
            if (starts_with(a, prefix) && std::strcmp(prefix, "-O") != 0) {
                flags.push_back(a);
                break;
            }
        }
    }
    return flags;
}

std::vector<std::string> driver_flags(const CompileCommand& command) {
    std::vector<std::string> flags;
    for (size_t i = 0; i < command.args.size(); ++i) {
        const std::string& a = command.args[i];
        bool has_next = i + 1 < command.args.size();
        if ((a == "--sysroot" || a == "-isysroot" || a == "-target" || a == "-B") && has_next) {
            flags.push_back(a);
            flags.push_back(command.args[++i]);
        } else if (a == "-m32" || a == "-m64" || a == "-mx32" || a == "-nostdinc" ||
                   a == "-nostdinc++" || starts_with(a, "--sysroot=") || starts_with(a, "-stdlib=") ||
                   starts_with(a, "--target=") || starts_with(a, "-specs=") ||
                   (starts_with(a, "-B") && a.size() > 2) || starts_with(a, "-isysroot")) {
            flags.push_back(a);
        } else if (separate_value_options().count(a) && has_next) {
            ++i;
        }
    }
    return flags;
}

}  // namespace mirt_instrument
