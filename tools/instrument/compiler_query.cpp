// compiler_query.cpp: asking gcc-style compilers for their target and include folders.
#include "compiler_query.h"

#include <sstream>

#include "subprocess.h"

namespace mirt_instrument {

CompilerSetup read_compiler_report(const std::string& report) {
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
    return setup;
}

CompilerSetup query_compiler(const std::string& compiler, const std::vector<std::string>& flags,
                             Language language) {
    std::vector<std::string> argv = {compiler};
    argv.insert(argv.end(), flags.begin(), flags.end());
    argv.insert(argv.end(), {"-x", language == Language::c ? "c" : "c++", "-E", "-v", "-o", "/dev/null", "/dev/null"});
    ProcessResult r = run_process(argv, true);
    if (r.exit_code != 0) return CompilerSetup();
    return read_compiler_report(r.err);
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
