// mirt-cc: a compiler launcher that instruments each C and C++ source it compiles.
//
//   mirt-cc [--mirt-style=table|atomic|line|function] [--mirt-lib-dir=DIR] [--mirt-map-dir=DIR] COMPILER ARGS...
//
// Used as CMAKE_<LANG>_COMPILER_LAUNCHER (and _LINKER_LAUNCHER) or in front of
// any gcc-style command, as ccache is. Each source goes through
// mirt-instrument's rewriting into a private temporary folder and the real
// compiler builds that copy with the same arguments (plus -iquote for the
// source's own folder, so that its quoted includes resolve as before). A link
// step is left as it is apart from the runtime library added at its end. When
// a source cannot be parsed, or its instrumented copy does not compile, the
// original is compiled instead, with one warning: instrumentation never fails
// a build. The style can also come from MIRT_STYLE, the library folder from
// MIRT_LIB_DIR; MIRT_CC_VERBOSE=1 prints the commands run. Each compiled
// source leaves its line map (line_map.h) beside its object, or in the
// folder that --mirt-map-dir or MIRT_MAP_DIR names.
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tools/instrument/compile_command.h"
#include "tools/instrument/compiler_query.h"
#include "tools/instrument/instrumenter.h"
#include "tools/instrument/line_map.h"
#include "tools/instrument/subprocess.h"

using namespace mirt_instrument;

namespace {

bool verbose() {
    const char* v = getenv("MIRT_CC_VERBOSE");
    return v && *v && std::strcmp(v, "0") != 0;
}

void show(const std::vector<std::string>& argv) {
    if (!verbose()) return;
    std::string line = "mirt-cc:";
    for (const std::string& a : argv) line += " " + a;
    std::fprintf(stderr, "%s\n", line.c_str());
}

std::string temp_root() {
    const char* t = getenv("TMPDIR");
    std::string root = (t && *t) ? t : "/tmp";
    return root;
}

// A private folder for the instrumented copies, removed when done.
class TempFolder {
public:
    TempFolder() {
        std::string pattern = temp_root() + "/mirt-cc-XXXXXX";
        std::vector<char> buf(pattern.begin(), pattern.end());
        buf.push_back('\0');
        if (mkdtemp(buf.data())) path_ = buf.data();
    }
    ~TempFolder() {
        const char* keep = getenv("MIRT_CC_KEEP");
        if (path_.empty() || (keep && *keep)) return;
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    bool ok() const { return !path_.empty(); }
    // The folder of the n-th source's copies: they stand at their original
    // absolute paths below it, so that includes relative to a copy find copies.
    std::string mirror(size_t n) const { return path_ + "/" + std::to_string(n); }

private:
    std::string path_;
};

// Writes text at path, making the folders above it.
bool write_text(const std::string& path, const std::string& text) {
    std::error_code ignored;
    std::filesystem::create_directories(folder_of(path), ignored);
    std::ofstream out(path, std::ios::binary);
    out << text;
    out.close();
    return static_cast<bool>(out);
}

std::string make_escaped(const std::string& path) {
    std::string out;
    for (char c : path) {
        if (c == ' ' || c == '#') out += '\\';
        if (c == '$') out += '$';
        out += c;
    }
    return out;
}

// The dependency file names the copy; the build must see the original.
void fix_depfile(const std::string& depfile, const std::vector<std::pair<std::string, std::string>>& renames) {
    std::ifstream in(depfile, std::ios::binary);
    if (!in) return;
    std::ostringstream s;
    s << in.rdbuf();
    std::string text = s.str();
    in.close();
    bool changed = false;
    for (const auto& r : renames) {
        // The compiler writes the copy's name escaped as make reads it (a
        // space or '#' behind a backslash): it is found, and replaced, so.
        const std::string from = make_escaped(r.first), to = make_escaped(r.second);
        size_t pos = 0;
        while ((pos = text.find(from, pos)) != std::string::npos) {
            text.replace(pos, from.size(), to);
            pos += to.size();
            changed = true;
        }
    }
    if (changed) write_text(depfile, text);
}

std::string target_of(const std::string& compiler) {
    ProcessResult r = run_process({compiler, "-dumpmachine"}, true);
    std::string t = r.exit_code == 0 ? r.out : "";
    while (!t.empty() && (t.back() == '\n' || t.back() == '\r')) t.pop_back();
    return t;
}

// The native library of an installed tree: in the library folder beside
// this program's folder; "" when this program is not installed.
std::string installed_lib_dir() {
    char exe[4096];
    ssize_t n = readlink("/proc/self/exe", exe, sizeof exe - 1);
    if (n <= 0) return "";
    exe[n] = '\0';
    std::string dir = folder_of(exe) + "/" + MIRT_INSTALLED_LIB_FROM_BIN;
    struct stat st;
    return stat((dir + "/libmirt64.so").c_str(), &st) == 0 ? dir : "";
}

// The runtime library that a link step adds, for the command's target: the
// folder the option or MIRT_LIB_DIR names, else the installed tree's, else
// this build's.
std::vector<std::string> runtime_link_args(const std::string& compiler, const std::string& lib_dir_option) {
    bool windows = is_windows_target(target_of(compiler));
    std::string dir = lib_dir_option;
    if (dir.empty()) {
        const char* env = getenv("MIRT_LIB_DIR");
        if (env && *env) dir = env;
        else if (!windows) dir = installed_lib_dir();
        if (dir.empty()) dir = windows ? MIRT_WINDOWS_LIB_DIR : MIRT_NATIVE_LIB_DIR;
    }
    if (windows) return {dir + "/mirt64.lib"};
    return {dir + "/libmirt64.so", "-Wl,-rpath," + dir};
}

// Runs the real compiler; one that cannot be run is named, with status 127.
ProcessResult run_compiler(const std::vector<std::string>& argv, bool capture) {
    ProcessResult r = run_process(argv, capture);
    if (!r.started)
        std::fprintf(stderr, "mirt-cc: error: cannot run the compiler '%s': not found, or not a program\n",
                     argv[0].c_str());
    return r;
}

const char* const help_text =
    "usage: mirt-cc [OPTIONS] COMPILER ARGS...\n"
    "\n"
    "Compiles C and C++ sources with probes for mirt64, as a compiler launcher (ccache-like):\n"
    "each source is instrumented with Clang and compiled by COMPILER with ARGS; link steps\n"
    "get the runtime library; each object gets its line map (OBJECT.mirtmap).\n"
    "\n"
    "options (each also an environment variable):\n"
    "  --mirt-style=table|atomic|line|function   how probes count (MIRT_STYLE; default table)\n"
    "  --mirt-lib-dir=DIR                 the folder of the runtime library (MIRT_LIB_DIR)\n"
    "  --mirt-map-dir=DIR                 every line map in DIR (MIRT_MAP_DIR)\n"
    "  --mirt-headers=none|DIR:DIR...     which headers get probes (MIRT_HEADERS; default the project's)\n"
    "  --mirt-strict                      fail when a source would be built without probes (MIRT_STRICT=1)\n"
    "  --help, --version                  this text, the version\n"
    "MIRT_CC_VERBOSE=1 prints the commands run; MIRT_CC_KEEP=1 keeps the instrumented copies.\n";

int usage() {
    std::fprintf(stderr,
                 "usage: mirt-cc [--mirt-style=table|atomic|line|function] [--mirt-lib-dir=DIR] [--mirt-map-dir=DIR] "
                 "[--mirt-headers=none|DIR:DIR...] [--mirt-strict] COMPILER ARGS...\n");
    return 2;
}

struct Options {
    ProbeStyle style = ProbeStyle::table;
    std::string lib_dir;
    std::string map_dir;  // empty: each map beside its object
    std::string headers;  // which headers get probes: "" (the project's own), "none", or FOLDER:FOLDER...
    bool strict = false;  // a source built without probes fails the build
    int first = 1;        // the compiler's place in argv
};

bool setting_on(const char* value) { return value && *value && std::strcmp(value, "0") != 0; }

// The launcher's own options and settings; false on a usage error.
bool read_options(int argc, char** argv, Options* o) {
    if (const char* env = getenv("MIRT_STYLE")) {
        if (*env && !parse_style(env, &o->style)) {
            std::fprintf(stderr, "mirt-cc: unknown MIRT_STYLE '%s'\n", env);
            return false;
        }
    }
    if (const char* env = getenv("MIRT_MAP_DIR")) o->map_dir = env;
    if (const char* env = getenv("MIRT_HEADERS")) o->headers = env;
    o->strict = setting_on(getenv("MIRT_STRICT"));
    for (; o->first < argc && std::strncmp(argv[o->first], "--mirt-", 7) == 0; ++o->first) {
        std::string a = argv[o->first];
        if (a.compare(0, 13, "--mirt-style=") == 0) {
            if (!parse_style(a.substr(13), &o->style)) return false;
        } else if (a.compare(0, 15, "--mirt-lib-dir=") == 0) {
            o->lib_dir = a.substr(15);
        } else if (a.compare(0, 15, "--mirt-map-dir=") == 0) {
            o->map_dir = a.substr(15);
        } else if (a.compare(0, 15, "--mirt-headers=") == 0) {
            o->headers = a.substr(15);
        } else if (a == "--mirt-strict") {
            o->strict = true;
        } else {
            return false;
        }
    }
    return o->first < argc;
}

// Which files get probes: the source, and the project's own headers and
// included sources (every one outside the system folders, or those under the
// folders that MIRT_HEADERS lists), unless MIRT_HEADERS is "none". A command
// that compiles several sources at once gets probes in the sources only:
// their copies cannot share one set of header copies.
SiteOptions site_options(const Options& o, const CompileCommand& cmd) {
    SiteOptions site;
    site.style = o.style;
    site.headers = o.headers != "none" && cmd.sources.size() == 1;
    for (size_t i = 0; i < cmd.args.size(); ++i) {
        const std::string& a = cmd.args[i];
        if (a == "-isystem" && i + 1 < cmd.args.size()) site.command_system_folders.push_back(absolute_path(cmd.args[i + 1]));
        else if (a.compare(0, 8, "-isystem") == 0 && a.size() > 8) site.command_system_folders.push_back(absolute_path(a.substr(8)));
    }
    if (!o.headers.empty() && o.headers != "none") {
        std::vector<std::string> folders;
        std::stringstream list(o.headers);
        for (std::string f; std::getline(list, f, ':');)
            if (!f.empty()) folders.push_back(absolute_path(f));
        site.probe_file = [folders](const std::string& path) {
            for (const std::string& f : folders)
                if (path.size() > f.size() && path.compare(0, f.size(), f) == 0 && path[f.size()] == '/') return true;
            return false;
        };
    }
    return site;
}

// Each folder that the command searches for includes (-I, -iquote, -isystem) gets its
// place in the mirror searched first, where the copies are.
std::vector<std::string> with_mirrored_includes(const std::vector<std::string>& args, const std::string& mirror) {
    std::vector<std::string> out;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        for (const char* flag : {"-I", "-iquote", "-isystem"}) {
            size_t n = std::strlen(flag);
            if (a.compare(0, n, flag) != 0) continue;
            std::string folder = a.size() > n ? a.substr(n) : (i + 1 < args.size() ? args[i + 1] : "");
            if (folder.empty() || (a.size() > n && std::strcmp(flag, "-iquote") == 0)) break;
            out.push_back(flag);
            out.push_back(mirror + absolute_path(folder));
            break;
        }
        out.push_back(a);
    }
    return out;
}

// What became of each source of the command.
struct SourceOutcome {
    InstrumentResult result;
    std::string unprobed;  // why it is built without probes; empty when it has them
};

// Instruments every source into the temporary folder and points the
// command's arguments at the copies.
std::vector<SourceOutcome> instrument_sources(const CompileCommand& cmd, const SiteOptions& site, TempFolder& temp,
                                              std::vector<std::string>& args,
                                              std::vector<std::pair<std::string, std::string>>& renames) {
    std::vector<SourceOutcome> outcomes(cmd.sources.size());
    std::vector<std::vector<std::string>> clang_args(3);
    std::vector<bool> have_args(3, false);
    for (size_t n = 0; n < cmd.sources.size(); ++n) {
        const SourceArg& s = cmd.sources[n];
        const std::string& source = cmd.args[s.index];
        SourceOutcome& o = outcomes[n];
        if (!temp.ok()) {
            o.unprobed = "no temporary folder";
            continue;
        }
        int lang = static_cast<int>(s.language);
        if (!have_args[lang]) {
            clang_args[lang] = clang_arguments_for(cmd, s.language);
            have_args[lang] = true;
        }
        o.result = instrument_source(source, s.language, clang_args[lang], site);
        std::string mirror = temp.mirror(n);
        std::string copy = mirror + absolute_path(source);
        if (!o.result.parsed) o.unprobed = o.result.problem;
        else if (!write_text(copy, o.result.text)) o.unprobed = "cannot write " + copy;
        for (const ProjectFile& other : o.result.others)
            if (o.unprobed.empty() && !write_text(mirror + other.path, other.text))
                o.unprobed = "cannot write " + mirror + other.path;
        if (!o.unprobed.empty()) {
            std::fprintf(stderr, "mirt-cc: warning: %s left without probes: %s\n", source.c_str(),
                         o.unprobed.c_str());
            continue;
        }
        args[s.index] = copy;
        renames.push_back({copy, source});
        if (!o.result.others.empty()) {
            args = with_mirrored_includes(args, mirror);
            // Dependency files then name the copies of headers: the mirror's
            // prefix goes, leaving the original absolute paths.
            renames.push_back({mirror, ""});
        }
    }
    return outcomes;
}

// Leaves the line map of each source beside its object. A map that cannot
// be written costs the reports their never-run lines, not the build.
void write_maps(const CompileCommand& cmd, const Options& options, const std::vector<SourceOutcome>& outcomes) {
    std::string folder = current_folder();
    int64_t built = now_ns();
    for (size_t n = 0; n < cmd.sources.size(); ++n) {
        const std::string& source = cmd.args[cmd.sources[n].index];
        const SourceOutcome& o = outcomes[n];
        LineMapUnit unit;
        unit.source = source;
        unit.folder = folder;
        unit.built = built;
        unit.style = options.style;
        MappedFile file;
        file.name = source;
        file.checksum = text_checksum(o.result.original);
        file.unprobed = o.unprobed;
        if (o.unprobed.empty()) {
            file.lines = o.result.lines;
            file.functions = o.result.functions;
            file.branches = o.result.branches;
            file.aliases = o.result.aliases;
        }
        unit.files.push_back(std::move(file));
        if (o.unprobed.empty())
            for (const ProjectFile& other : o.result.others)
                if (!other.lines.empty() || !other.branches.empty())
                    unit.files.push_back({other.name, text_checksum(other.original), other.lines, other.functions, "",
                                          other.branches, other.aliases});
        std::string path = line_map_path(cmd, n, options.map_dir, folder);
        if (!write_line_map(path, line_map_text(unit)))
            std::fprintf(stderr, "mirt-cc: warning: cannot write the line map %s\n", path.c_str());
    }
}

// With MIRT_STRICT, a source built without probes fails the build.
constexpr int exit_strict = 3;

bool all_probed(const CompileCommand& cmd, const std::vector<SourceOutcome>& outcomes) {
    bool all = true;
    for (size_t n = 0; n < outcomes.size(); ++n) {
        if (outcomes[n].unprobed.empty()) continue;
        std::fprintf(stderr, "mirt-cc: error: %s would be built without probes (MIRT_STRICT is set)\n",
                     cmd.args[cmd.sources[n].index].c_str());
        all = false;
    }
    return all;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 2 && std::strcmp(argv[1], "--help") == 0) {
        std::fputs(help_text, stdout);
        return 0;
    }
    if (argc == 2 && std::strcmp(argv[1], "--version") == 0) {
        std::printf("mirt-cc %s\n", MIRT_VERSION);
        return 0;
    }
    Options options;
    if (!read_options(argc, argv, &options)) return usage();

    std::vector<std::string> original(argv + options.first, argv + argc);
    CompileCommand cmd = parse_compile_command(original);
    if (cmd.preprocess_only || (cmd.sources.empty() && !cmd.links)) {
        show(original);
        return run_compiler(original, false).exit_code;
    }

    std::vector<std::string> link_args;
    if (cmd.links) link_args = runtime_link_args(cmd.compiler, options.lib_dir);

    TempFolder temp;
    std::vector<std::string> args = cmd.args;
    std::vector<std::pair<std::string, std::string>> renames;
    std::vector<SourceOutcome> outcomes = instrument_sources(cmd, site_options(options, cmd), temp, args, renames);
    if (options.strict && !all_probed(cmd, outcomes)) return exit_strict;

    std::vector<std::string> instrumented = {cmd.compiler};
    // "#include "x.h"" finds in the copy's folder first the probed copies of
    // the source's headers, then the source's own folder; a header elsewhere
    // (one that a build folder generates) that includes one of them finds
    // the probed copy too.
    for (const auto& rn : renames) {
        if (rn.second.empty()) continue;
        for (const std::string& folder : {folder_of(rn.first), folder_of(rn.second)}) {
            instrumented.push_back("-iquote");
            instrumented.push_back(folder);
        }
    }
    instrumented.insert(instrumented.end(), args.begin(), args.end());
    instrumented.insert(instrumented.end(), link_args.begin(), link_args.end());
    show(instrumented);

    if (renames.empty()) {
        int status = run_compiler(instrumented, false).exit_code;
        if (status == 0) write_maps(cmd, options, outcomes);
        return status;
    }

    ProcessResult r = run_compiler(instrumented, true);
    if (!r.started) return r.exit_code;
    if (r.exit_code == 0) {
        fwrite(r.out.data(), 1, r.out.size(), stdout);
        fwrite(r.err.data(), 1, r.err.size(), stderr);
        if (!cmd.depfile.empty()) fix_depfile(cmd.depfile, renames);
        write_maps(cmd, options, outcomes);
        return 0;
    }
    std::string names;
    for (const auto& rn : renames)
        if (!rn.second.empty()) names += (names.empty() ? "" : ", ") + rn.second;
    std::fprintf(stderr, "mirt-cc: warning: the instrumented copy of %s did not compile; compiling the original\n",
                 names.c_str());
    if (verbose()) fwrite(r.err.data(), 1, r.err.size(), stderr);
    for (SourceOutcome& o : outcomes)
        if (o.unprobed.empty()) o.unprobed = "its instrumented copy did not compile";
    if (options.strict && !all_probed(cmd, outcomes)) return exit_strict;
    std::vector<std::string> plain = original;
    plain.insert(plain.end(), link_args.begin(), link_args.end());
    show(plain);
    int status = run_compiler(plain, false).exit_code;
    if (status == 0) write_maps(cmd, options, outcomes);
    return status;
}
