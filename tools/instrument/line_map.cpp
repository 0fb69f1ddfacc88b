// line_map.cpp: writing the line map of a translation unit.
#include "tools/instrument/line_map.h"

#include <stdio.h>
#include <time.h>
#include <unistd.h>

#include <cinttypes>
#include <fstream>

namespace mirt_instrument {

std::string current_folder() {
    char buf[4096];
    return getcwd(buf, sizeof buf) ? buf : ".";
}

int64_t now_ns() {
    struct timespec t;
    clock_gettime(CLOCK_REALTIME, &t);
    return static_cast<int64_t>(t.tv_sec) * 1000000000 + t.tv_nsec;
}

uint64_t text_checksum(const std::string& bytes) {
    uint64_t h = 14695981039346656037ull;
    for (unsigned char c : bytes) {
        h ^= c;
        h *= 1099511628211ull;
    }
    return h;
}

namespace {

bool one_line(const std::string& text) { return text.find_first_of("\r\n") == std::string::npos; }

std::string without_line_breaks(std::string text) {
    for (char& c : text)
        if (c == '\r' || c == '\n') c = ' ';
    return text;
}

}  // namespace

std::string line_map_text(const LineMapUnit& unit) {
    std::string out = "mirt-line-map 1\n";
    out += "unit " + without_line_breaks(unit.source) + "\n";
    out += "folder " + without_line_breaks(unit.folder) + "\n";
    out += "built " + std::to_string(unit.built) + "\n";
    out += std::string("style ") + style_name(unit.style) + "\n";
    for (const MappedFile& f : unit.files) {
        if (!one_line(f.name)) continue;
        char sum[17];
        snprintf(sum, sizeof sum, "%016" PRIx64, f.checksum);
        out += std::string("file ") + sum + " " + f.name + "\n";
        if (!f.unprobed.empty()) out += "unprobed " + without_line_breaks(f.unprobed) + "\n";
        if (!f.lines.empty()) {
            out += "lines";
            for (int line : f.lines) out += " " + std::to_string(line);
            out += "\n";
        }
        for (const LineAlias& a : f.aliases) {
            out += (a.plus != 0 ? "sum " : "same ") + std::to_string(a.line) + " " + std::to_string(a.same_as);
            if (a.plus != 0) out += " " + std::to_string(a.plus);
            out += "\n";
        }
        for (const FunctionLines& fn : f.functions)
            out += "function " + std::to_string(fn.first_line) + " " + std::to_string(fn.last_line) + " " +
                   without_line_breaks(fn.name) + "\n";
        for (const BranchOutcome& b : f.branches) {
            out += "branch " + std::to_string(b.line) + " " + std::to_string(b.id) + " " + std::to_string(b.decision) +
                   " " + std::to_string(b.outcome) + " " + without_line_breaks(b.text) + "\n";
            if (!b.counted())
                out += "from " + std::to_string(b.id) + " " + std::to_string(b.from_line) + " " +
                       std::to_string(b.less_line) + "\n";
        }
    }
    return out + "end\n";
}

std::string line_map_path(const CompileCommand& command, size_t n, const std::string& map_dir,
                          const std::string& working_folder) {
    const std::string& source = command.args[command.sources[n].index];
    std::string stem = base_name(source);
    size_t dot = stem.rfind('.');
    if (dot != std::string::npos && dot > 0) stem.erase(dot);
    std::string object;
    if (command.compile_only) {
        object = (!command.output.empty() && command.sources.size() == 1) ? command.output : stem + ".o";
    } else {
        std::string out = command.output.empty() ? "a.out" : command.output;
        object = out + "-" + stem;
    }
    if (map_dir.empty()) return object + ".mirtmap";
    std::string whole = (!object.empty() && object[0] == '/') ? object : working_folder + "/" + object;
    for (char& c : whole)
        if (c == '/') c = '#';
    return map_dir + "/" + whole + ".mirtmap";
}

bool write_line_map(const std::string& path, const std::string& text) {
    std::string temporary = path + ".tmp" + std::to_string(static_cast<long>(getpid()));
    {
        std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
        out << text;
        out.close();
        if (!out) {
            unlink(temporary.c_str());
            return false;
        }
    }
    if (rename(temporary.c_str(), path.c_str()) != 0) {
        unlink(temporary.c_str());
        return false;
    }
    return true;
}

}  // namespace mirt_instrument
