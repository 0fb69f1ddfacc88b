// test_support.cpp: the parts of the test support that are the same on every system.
#include "tests/support/test_support.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

namespace fs = std::filesystem;

namespace mirt_test {

std::string join(const std::string& folder, const std::string& name) {
    return folder.empty() ? name : (fs::path(folder) / name).string();
}

std::string make_temp_folder(const std::string& tag) {
    std::error_code error;
    const fs::path base = fs::temp_directory_path(error);
    std::random_device random;
    for (int attempt = 0; attempt < 100; ++attempt) {
        fs::path folder = base / ("mirt-test-" + tag + "-" + std::to_string(random()));
        if (fs::create_directory(folder, error)) return folder.string();
    }
    return "";
}

bool file_exists(const std::string& path) {
    return static_cast<bool>(std::ifstream(path, std::ios::binary));
}

bool wait_for_file(const std::string& path, int seconds) {
    return pump_until([&] { return file_exists(path); }, seconds * 1000u);
}

std::string read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

void write_file(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

void remove_file(const std::string& path) { std::remove(path.c_str()); }

void remove_tree(const std::string& path) {
    std::error_code ignored;
    fs::remove_all(path, ignored);
}

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        lines.push_back(line);
    }
    return lines;
}

RunResult run_program(const std::string& path, const std::vector<std::string>& args,
                      const std::vector<EnvChange>& env, const std::string& working_folder) {
    const std::string output = join(fs::temp_directory_path().string(),
                                    "mirt-test-run-" + std::to_string(std::random_device{}()));
    Child child = start_program(path, args, env, output, working_folder);
    RunResult result{wait_program(child), read_file(output)};
    remove_file(output);
    return result;
}

int wait_program(Child& child) {
    if (!child.started) return -1;
    child.started = false;
    return reap_process(child.handle);
}

void kill_program(Child& child) {
    if (child.started) end_process(child.handle);
    wait_program(child);
}

Counts line_counts_in(const std::string& text) {
    Counts counts;
    std::string file = "#";
    for (const std::string& line : lines_of(text)) {
        size_t comma = line.find(',');
        if (line.rfind("### ", 0) == 0) file = line.substr(4);
        else if (line.rfind("=== ", 0) == 0) file = "#";
        else if (comma != std::string::npos && line.rfind("--- ", 0) != 0 &&
                 line.rfind(">>> ", 0) != 0)
            if (long long n = std::stoll(line.substr(comma + 1)); n > 0)
                counts[file + ":" + line.substr(0, comma)] += n;
    }
    return counts;
}

// The runtime's DLL is found beside the program on Windows; elsewhere there is none.
std::string copy_program(const std::string& program, const std::string& folder,
                         const std::string& new_name) {
    const auto replace = fs::copy_options::overwrite_existing;
    std::string target = join(folder, new_name);
    fs::copy_file(join(program_folder(), executable_name(program)), target, replace);
    std::error_code absent;
    fs::copy_file(join(program_folder(), "mirt64.dll"), join(folder, "mirt64.dll"), replace,
                  absent);
    return target;
}

}  // namespace mirt_test
