// settings.cpp: the runtime's opt-in settings from the environment.
#include "startup/settings.h"

#include "platform/process.h"
#include "core/process_state.h"
#include "platform/profile.h"
#include "platform/text.h"

namespace mirt {

namespace {
constexpr size_t pattern_result_limit = 4095;

// "app.exe" names its program "app", as "app" does on POSIX.
std::string program_stem(const char* name) {
    std::string stem = name;
    if (stem.size() > 4 && ascii_casecmp(stem.c_str() + stem.size() - 4, ".exe") == 0) stem.resize(stem.size() - 4);
    return stem;
}
}  // namespace

void read_test_name_setting() {
    std::string name;
    if (platform::get_environment("MIRT_TEST_NAME", &name))
        copy_bounded(environment_test_name, name.c_str(), environment_test_name_size - 1);
}

std::string expand_file_pattern(const std::string& pattern, uint32_t pid, const char* host, const char* program) {
    std::string out;
    for (size_t i = 0; i < pattern.size(); ++i) {
        char next = i + 1 < pattern.size() ? pattern[i + 1] : '\0';
        if (pattern[i] != '%' || (next != 'p' && next != 'h' && next != 'e' && next != '%')) {
            out += pattern[i];
            continue;
        }
        ++i;
        if (next == 'p') out += std::to_string(pid);
        else if (next == 'h') out += host;
        else if (next == 'e') out += program_stem(program);
        else out += '%';
    }
    if (out.size() > pattern_result_limit) out.resize(pattern_result_limit);
    return out;
}

std::string exit_file_path(const char* fixed_path) {
    std::string pattern;
    if (!platform::get_environment("MIRT_EXIT_FILE", &pattern) || pattern.empty()) return fixed_path;
    char host[256] = "";
    char program[256] = "";
    if (pattern.find("%h") != std::string::npos) platform::computer_name(host, sizeof host);
    if (pattern.find("%e") != std::string::npos) platform::module_base_name(program, sizeof program);
    return expand_file_pattern(pattern, platform::current_process_id(), host, program);
}

}  // namespace mirt
