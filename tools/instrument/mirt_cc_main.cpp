// mirt-cc: a compiler launcher that instruments each C and C++ source it compiles.
//
//   mirt-cc [--mirt-style=table|line|function] [--mirt-lib-dir=DIR] [--mirt-map-dir=DIR] COMPILER ARGS...
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
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "compile_command.h"
#include "compiler_query.h"
#include "instrumenter.h"
#include "line_map.h"
#include "subprocess.h"

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
        for (const std::string& f : files_) unlink(f.c_str());
        for (auto it = folders_.rbegin(); it != folders_.rend(); ++it) rmdir(it->c_str());
        rmdir(path_.c_str());
    }
    bool ok() const { return !path_.empty(); }
    std::string folder(size_t n) {
        std::string f = path_ + "/" + std::to_string(n);
        if (mkdir(f.c_str(), 0700) == 0) folders_.push_back(f);
        return f;
    }
    void track(const std::string& file) { files_.push_back(file); }

private:
    std::string path_;
    std::vector<std::string> folders_;
    std::vector<std::string> files_;
};

bool write_text(const std::string& path, const std::string& text) {
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
        size_t pos = 0;
        std::string to = make_escaped(r.second);
        while ((pos = text.find(r.first, pos)) != std::string::npos) {
            text.replace(pos, r.first.size(), to);
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

// The runtime library that a link step adds, for the command's target.
std::vector<std::string> runtime_link_args(const std::string& compiler, const std::string& lib_dir_option) {
    bool windows = is_windows_target(target_of(compiler));
    std::string dir = lib_dir_option;
    if (dir.empty()) {
        const char* env = getenv("MIRT_LIB_DIR");
        dir = (env && *env) ? env : (windows ? MIRT_WINDOWS_LIB_DIR : MIRT_NATIVE_LIB_DIR);
    }
    if (windows) return {dir + "/mirt64.lib"};
    return {dir + "/libmirt64.so", "-Wl,-rpath," + dir};
}

int usage() {
    std::fprintf(stderr,
                 "usage: mirt-cc [--mirt-style=table|line|function] [--mirt-lib-dir=DIR] [--mirt-map-dir=DIR] "
                 "COMPILER ARGS...\n");
    return 2;
}

struct Options {
    ProbeStyle style = ProbeStyle::table;
    std::string lib_dir;
    std::string map_dir;  // empty: each map beside its object
    int first = 1;        // the compiler's place in argv
};

// The launcher's own options and settings; false on a usage error.
bool read_options(int argc, char** argv, Options* o) {
    if (const char* env = getenv("MIRT_STYLE")) {
        if (*env && !parse_style(env, &o->style)) {
            std::fprintf(stderr, "mirt-cc: unknown MIRT_STYLE '%s'\n", env);
            return false;
        }
    }
    if (const char* env = getenv("MIRT_MAP_DIR")) o->map_dir = env;
    for (; o->first < argc && std::strncmp(argv[o->first], "--mirt-", 7) == 0; ++o->first) {
        std::string a = argv[o->first];
        if (a.compare(0, 13, "--mirt-style=") == 0) {
            if (!parse_style(a.substr(13), &o->style)) return false;
        } else if (a.compare(0, 15, "--mirt-lib-dir=") == 0) {
            o->lib_dir = a.substr(15);
        } else if (a.compare(0, 15, "--mirt-map-dir=") == 0) {
            o->map_dir = a.substr(15);
        } else {
            return false;
        }
    }
    return o->first < argc;
}

// What became of each source of the command.
struct SourceOutcome {
    InstrumentResult result;
    std::string unprobed;  // why it is built without probes; empty when it has them
};

// Instruments every source into the temporary folder and points the
// command's arguments at the copies.
std::vector<SourceOutcome> instrument_sources(const CompileCommand& cmd, ProbeStyle style, TempFolder& temp,
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
        o.result = instrument_source(source, s.language, clang_args[lang], style);
        std::string copy = temp.folder(n) + "/" + base_name(source);
        if (!o.result.parsed) o.unprobed = o.result.problem;
        else if (!write_text(copy, o.result.text)) o.unprobed = "cannot write " + copy;
        if (!o.unprobed.empty()) {
            std::fprintf(stderr, "mirt-cc: warning: %s left without probes: %s\n", source.c_str(),
                         o.unprobed.c_str());
            continue;
        }
        temp.track(copy);
        args[s.index] = copy;
        renames.push_back({copy, source});
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
        }
        unit.files.push_back(std::move(file));
        std::string path = line_map_path(cmd, n, options.map_dir, folder);
        if (!write_line_map(path, line_map_text(unit)))
            std::fprintf(stderr, "mirt-cc: warning: cannot write the line map %s\n", path.c_str());
    }
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (!read_options(argc, argv, &options)) return usage();

    std::vector<std::string> original(argv + options.first, argv + argc);
    CompileCommand cmd = parse_compile_command(original);
    if (cmd.preprocess_only || (cmd.sources.empty() && !cmd.links)) {
        show(original);
        return run_process(original, false).exit_code;
    }

    std::vector<std::string> link_args;
    if (cmd.links) link_args = runtime_link_args(cmd.compiler, options.lib_dir);

    TempFolder temp;
    std::vector<std::string> args = cmd.args;
    std::vector<std::pair<std::string, std::string>> renames;
    std::vector<SourceOutcome> outcomes = instrument_sources(cmd, options.style, temp, args, renames);

    std::vector<std::string> instrumented = {cmd.compiler};
    for (const auto& rn : renames) {
        instrumented.push_back("-iquote");
        instrumented.push_back(folder_of(rn.second));
    }
    instrumented.insert(instrumented.end(), args.begin(), args.end());
    instrumented.insert(instrumented.end(), link_args.begin(), link_args.end());
    show(instrumented);

    if (renames.empty()) {
        int status = run_process(instrumented, false).exit_code;
        if (status == 0) write_maps(cmd, options, outcomes);
        return status;
    }

    ProcessResult r = run_process(instrumented, true);
    if (r.exit_code == 0) {
        fwrite(r.out.data(), 1, r.out.size(), stdout);
        fwrite(r.err.data(), 1, r.err.size(), stderr);
        if (!cmd.depfile.empty()) fix_depfile(cmd.depfile, renames);
        write_maps(cmd, options, outcomes);
        return 0;
    }
    std::string names;
    for (const auto& rn : renames) names += (names.empty() ? "" : ", ") + rn.second;
    std::fprintf(stderr, "mirt-cc: warning: the instrumented copy of %s did not compile; compiling the original\n",
                 names.c_str());
    if (verbose()) fwrite(r.err.data(), 1, r.err.size(), stderr);
    for (SourceOutcome& o : outcomes)
        if (o.unprobed.empty()) o.unprobed = "its instrumented copy did not compile";
    std::vector<std::string> plain = original;
    plain.insert(plain.end(), link_args.begin(), link_args.end());
    show(plain);
    int status = run_process(plain, false).exit_code;
    if (status == 0) write_maps(cmd, options, outcomes);
    return status;
}
