// mirt-cc: a compiler launcher that instruments each C and C++ source it compiles.
//
//   mirt-cc [--mirt-style=table|line|function] [--mirt-lib-dir=DIR] COMPILER ARGS...
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
// MIRT_LIB_DIR; MIRT_CC_VERBOSE=1 prints the commands run.
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
                 "usage: mirt-cc [--mirt-style=table|line|function] [--mirt-lib-dir=DIR] COMPILER ARGS...\n");
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    ProbeStyle style = ProbeStyle::table;
    if (const char* env = getenv("MIRT_STYLE")) {
        if (*env && !parse_style(env, &style)) {
            std::fprintf(stderr, "mirt-cc: unknown MIRT_STYLE '%s'\n", env);
            return 2;
        }
    }
    std::string lib_dir;
    int first = 1;
    for (; first < argc && std::strncmp(argv[first], "--mirt-", 7) == 0; ++first) {
        std::string a = argv[first];
        if (a.compare(0, 13, "--mirt-style=") == 0) {
            if (!parse_style(a.substr(13), &style)) return usage();
        } else if (a.compare(0, 15, "--mirt-lib-dir=") == 0) {
            lib_dir = a.substr(15);
        } else {
            return usage();
        }
    }
    if (first >= argc) return usage();

    std::vector<std::string> original(argv + first, argv + argc);
    CompileCommand cmd = parse_compile_command(original);
    if (cmd.preprocess_only || (cmd.sources.empty() && !cmd.links)) {
        show(original);
        return run_process(original, false).exit_code;
    }

    std::vector<std::string> link_args;
    if (cmd.links) link_args = runtime_link_args(cmd.compiler, lib_dir);

    TempFolder temp;
    std::vector<std::string> args = cmd.args;
    std::vector<std::string> quote_folders;
    std::vector<std::pair<std::string, std::string>> renames;
    std::vector<std::vector<std::string>> clang_args(3);
    std::vector<bool> have_args(3, false);
    for (size_t n = 0; n < cmd.sources.size() && temp.ok(); ++n) {
        const SourceArg& s = cmd.sources[n];
        const std::string& source = cmd.args[s.index];
        int lang = static_cast<int>(s.language);
        if (!have_args[lang]) {
            clang_args[lang] = clang_arguments_for(cmd, s.language);
            have_args[lang] = true;
        }
        InstrumentResult r = instrument_source(source, s.language, clang_args[lang], style);
        if (!r.parsed) {
            std::fprintf(stderr, "mirt-cc: warning: %s left without probes: %s\n", source.c_str(),
                         r.problem.c_str());
            continue;
        }
        std::string copy = temp.folder(n) + "/" + base_name(source);
        if (!write_text(copy, r.text)) {
            std::fprintf(stderr, "mirt-cc: warning: %s left without probes: cannot write %s\n",
                         source.c_str(), copy.c_str());
            continue;
        }
        temp.track(copy);
        args[s.index] = copy;
        quote_folders.push_back(folder_of(source));
        renames.push_back({copy, source});
    }

    std::vector<std::string> instrumented = {cmd.compiler};
    for (const std::string& f : quote_folders) {
        instrumented.push_back("-iquote");
        instrumented.push_back(f);
    }
    instrumented.insert(instrumented.end(), args.begin(), args.end());
    instrumented.insert(instrumented.end(), link_args.begin(), link_args.end());
    show(instrumented);

    if (renames.empty()) return run_process(instrumented, false).exit_code;

    ProcessResult r = run_process(instrumented, true);
    if (r.exit_code == 0) {
        fwrite(r.out.data(), 1, r.out.size(), stdout);
        fwrite(r.err.data(), 1, r.err.size(), stderr);
        if (!cmd.depfile.empty()) fix_depfile(cmd.depfile, renames);
        return 0;
    }
    std::string names;
    for (const auto& rn : renames) names += (names.empty() ? "" : ", ") + rn.second;
    std::fprintf(stderr, "mirt-cc: warning: the instrumented copy of %s did not compile; compiling the original\n",
                 names.c_str());
    if (verbose()) fwrite(r.err.data(), 1, r.err.size(), stderr);
    std::vector<std::string> plain = original;
    plain.insert(plain.end(), link_args.begin(), link_args.end());
    show(plain);
    return run_process(plain, false).exit_code;
}
