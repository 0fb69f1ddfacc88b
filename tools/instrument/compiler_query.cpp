// compiler_query.cpp: asking gcc-style compilers for their target and include folders.
#include "tools/instrument/compiler_query.h"

#include <cstdlib>
#include <sstream>

#include "tools/instrument/subprocess.h"

namespace mirt_instrument {

namespace {

// The value of a predefined macro ("201703L"), or empty.
std::string macro_value(const std::string& macros, const std::string& name) {
    std::string key = "#define " + name + " ";
    size_t pos = macros.find(key);
    if (pos == std::string::npos) return "";
    size_t end = macros.find('\n', pos);
    return macros.substr(pos + key.size(), end == std::string::npos ? std::string::npos : end - pos - key.size());
}

}  // namespace

std::string standard_of_macros(const std::string& macros, Language language) {
    bool strict = !macro_value(macros, "__STRICT_ANSI__").empty();
    std::string prefix = strict ? (language == Language::c ? "c" : "c++") : (language == Language::c ? "gnu" : "gnu++");
    long value = std::atol(macro_value(macros, language == Language::c ? "__STDC_VERSION__" : "__cplusplus").c_str());
    if (language == Language::c) {
        if (value == 0) return strict ? "c89" : "gnu89";
        if (value <= 199409L) return strict ? "iso9899:199409" : "gnu89";
        if (value <= 199901L) return prefix + "99";
        if (value <= 201112L) return prefix + "11";
        if (value <= 201710L) return prefix + "17";
        return prefix + "2x";
    }
    if (value == 0) return "";
    if (value <= 199711L) return prefix + "98";
    if (value <= 201103L) return prefix + "11";
    if (value <= 201402L) return prefix + "14";
    if (value <= 201703L) return prefix + "17";
    if (value <= 202002L) return prefix + "20";
    return prefix + "2b";
}

CompilerSetup read_compiler_report(const std::string& report, const std::string& macros) {
    CompilerSetup setup;
    std::istringstream in(report);
    std::string line;
    bool in_list = false;
    bool saw_list = false;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.compare(0, 8, "Target: ") == 0) {
            setup.target = line.substr(8);
        } else if (line.find("#include <...> search starts here:") == 0) {
            in_list = true;
            saw_list = true;
        } else if (line.find("End of search list.") == 0) {
            in_list = false;
        } else if (in_list && !line.empty() && line[0] == ' ') {
            std::string folder = line.substr(1);
            const std::string framework = " (framework directory)";
            if (folder.size() > framework.size() &&
                folder.compare(folder.size() - framework.size(), framework.size(), framework) == 0)
                continue;
            setup.include_folders.push_back(folder);
        }
    }
    setup.known = saw_list && !setup.target.empty();
    if (!macros.empty())
        setup.standard = standard_of_macros(macros, macros.find("#define __cplusplus ") != std::string::npos
                                                        ? Language::cplusplus
                                                        : Language::c);
    return setup;
}

CompilerSetup query_compiler(const std::string& compiler, const std::vector<std::string>& flags,
                             Language language) {
    std::vector<std::string> argv = {compiler};
    argv.insert(argv.end(), flags.begin(), flags.end());
    argv.insert(argv.end(), {"-x", language == Language::c ? "c" : "c++", "-dM", "-E", "-v", "/dev/null"});
    ProcessResult r = run_process(argv, true);
    if (r.exit_code != 0) return CompilerSetup();
    return read_compiler_report(r.err, r.out);
}

bool is_windows_target(const std::string& target) {
    return target.find("mingw") != std::string::npos || target.find("windows") != std::string::npos ||
           target.find("cygwin") != std::string::npos;
}

namespace {

// The path with "." and ".." parts resolved by their names alone.
std::string lexically_normal(const std::string& path) {
    std::vector<std::string> parts;
    std::string part;
    std::istringstream in(path);
    while (std::getline(in, part, '/')) {
        if (part.empty() || part == ".") continue;
        if (part == ".." && !parts.empty() && parts.back() != "..") parts.pop_back();
        else parts.push_back(part);
    }
    std::string out = path.empty() || path[0] != '/' ? "" : "/";
    for (size_t i = 0; i < parts.size(); ++i) out += (i ? "/" : "") + parts[i];
    return out;
}

// gcc's own folders (lib/gcc/<target>/<version>/include and include-fixed)
// hold its intrinsic and fixed headers, written for gcc's built-ins.
bool is_gcc_internal(const std::string& given) {
    std::string folder = lexically_normal(given);
    if (folder.find("/lib/gcc/") == std::string::npos &&
        folder.find("/lib64/gcc/") == std::string::npos)
        return false;
    auto ends_with = [&](const std::string& tail) {
        return folder.size() >= tail.size() && folder.compare(folder.size() - tail.size(), tail.size(), tail) == 0;
    };
    return ends_with("/include") || ends_with("/include-fixed");
}

}  // namespace

std::vector<std::string> clang_arguments(const CompilerSetup& setup, const std::vector<std::string>& flags,
                                         const std::string& clang_resource_folder) {
    std::vector<std::string> args;
    if (!clang_resource_folder.empty()) args.push_back("-resource-dir=" + clang_resource_folder);
    if (setup.known) args.push_back("--target=" + setup.target);
    // The command's own -std=, among the flags, comes later and wins.
    if (setup.known && !setup.standard.empty()) args.push_back("-std=" + setup.standard);
    args.insert(args.end(), flags.begin(), flags.end());
    if (setup.known) {
        args.push_back("-nostdinc");
        bool resource_added = false;
        for (const std::string& folder : setup.include_folders) {
            if (is_gcc_internal(folder)) {
                if (resource_added || clang_resource_folder.empty()) continue;
                args.push_back("-isystem");
                args.push_back(clang_resource_folder + "/include");
                resource_added = true;
                continue;
            }
            args.push_back("-isystem");
            args.push_back(folder);
        }
        if (!resource_added && !clang_resource_folder.empty()) {
            args.push_back("-isystem");
            args.push_back(clang_resource_folder + "/include");
        }
    }
    return args;
}

}  // namespace mirt_instrument
