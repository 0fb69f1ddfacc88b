// autodump.cpp: the host's periodic dumps: configuration, counter files, numbered output files.
#include "autodump/autodump.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "platform/files.h"
#include "mirt64.h"
#include "core/paths.h"
#include "platform/profile.h"
#include "platform/seldom_used.h"

namespace mirt {

AutodumpSettings autodump_settings;
MIRT_SELDOM_USED("autodump_paths") AutodumpPaths autodump_paths;

namespace {

const char* const config_section = "MIRT_AUTODUMP";
const char* const unknown_version = "UNKNOWN";
constexpr int32_t ms_per_minute = 60000;
constexpr size_t config_value_size = 127;

// Formats into a path buffer; false when the text would not fit whole.
template <typename... Args>
bool format_path(char (&buffer)[autodump_path_size], const char* format, Args... args) {
    int n = snprintf(buffer, sizeof buffer, format, args...);
    if (n < 0 || static_cast<size_t>(n) >= sizeof buffer) {
        buffer[0] = '\0';
        return false;
    }
    return true;
}

// A decimal number as atoi reads it (leading blanks, a sign, digits; no
// digits give 0). Where atoi's result is undefined, beyond the 32-bit range,
// the nearest 32-bit value is taken.
int32_t config_number(const char* text) {
    long long n = strtoll(text, nullptr, 10);
    if (n > INT32_MAX) return INT32_MAX;
    if (n < INT32_MIN) return INT32_MIN;
    return static_cast<int32_t>(n);
}

int32_t read_config_number(const char* key) {
    char value[config_value_size];
    platform::read_profile_string(config_section, key, "", value, sizeof value, autodump_paths.config);
    return config_number(value);
}

void write_config_number(const char* key, long long value) {
    platform::write_profile_string(config_section, key, std::to_string(value).c_str(), autodump_paths.config);
}

// Counter files hold one 32-bit number, little-endian, and nothing else. A
// file that cannot be written keeps what it held.
void store_counter(const char* path, uint32_t value) {
    FILE* file = fopen(path, "wb");
    if (file == nullptr) return;
    unsigned char bytes[4] = {static_cast<unsigned char>(value), static_cast<unsigned char>(value >> 8),
                              static_cast<unsigned char>(value >> 16), static_cast<unsigned char>(value >> 24)};
    fwrite(bytes, 1, sizeof bytes, file);
    fclose(file);
}

// A missing counter file is created holding 0 and gives 0. A file that
// exists but cannot be read whole (fewer than four bytes, a folder, no
// access) gives 0 as well.
uint32_t take_counter(const char* path) {
    if (!platform::path_exists(path)) {
        store_counter(path, 0);
        return 0;
    }
    FILE* file = fopen(path, "rb");
    if (file == nullptr) return 0;
    unsigned char bytes[4];
    size_t n = fread(bytes, 1, sizeof bytes, file);
    fclose(file);
    if (n != sizeof bytes) return 0;
    return static_cast<uint32_t>(bytes[0]) | static_cast<uint32_t>(bytes[1]) << 8 |
           static_cast<uint32_t>(bytes[2]) << 16 | static_cast<uint32_t>(bytes[3]) << 24;
}

// "<datafiles>/<short version>_<computer>_<number>.out".
std::string output_file_name(const std::string& computer, int32_t number) {
    return std::string(autodump_paths.datafiles) + platform::directory_separator + autodump_paths.short_version + "_" +
           computer + "_" + std::to_string(number) + ".out";
}

}  // namespace

bool compute_autodump_paths() {
    AutodumpPaths& p = autodump_paths;
    uint16_t v[4];
    if (platform::executable_file_version(v)) {
        format_path(p.long_version, "%d.%d.%d.%d", v[0], v[1], v[2], v[3]);
        // Major and revision: the fourth part, not the minor one.
        format_path(p.short_version, "%d.%d", v[0], v[3]);
    } else {
        format_path(p.long_version, "%s", unknown_version);
        format_path(p.short_version, "%s", unknown_version);
    }
    const char sep = platform::directory_separator;
    return platform::user_profile_folder(p.profile, sizeof p.profile) &&
           format_path(p.coverage, "%s%c%s", p.profile, sep, "coverage") &&
           format_path(p.datafiles, "%s%c%s%c%s", p.coverage, sep, "datafiles", sep, p.long_version) &&
           format_path(p.testcase_counter, "%s%c%s", p.coverage, sep, "mirt_autodump_testcase_ID.dat") &&
           format_path(p.outfile_counter, "%s%c%s", p.coverage, sep, "mirt_autodump_outfile_ID.dat") &&
           format_path(p.config, "%s%c%s", p.coverage, sep, "mirt_autodump_config.ini");
}

void load_autodump_configuration() {
    AutodumpSettings& s = autodump_settings;
    if (!platform::path_exists(autodump_paths.config)) {
        // The file records what memory holds, in its own units; memory keeps
        // its values (so the first run's limit stays 2465792 bytes).
        write_config_number("TIMEINTERVAL", s.interval / ms_per_minute);
        write_config_number("MAXFILESIZE", s.max_file_size >> 20);
        write_config_number("AUTODUMP", s.dump_switch);
        return;
    }
    int32_t minutes = read_config_number("TIMEINTERVAL");
    if (minutes > 0) {
        // Beyond 35791 minutes the milliseconds would leave the 32-bit range:
        // the interval is then the longest a timer takes, 0x7FFFFFFF ms.
        s.interval = minutes > INT32_MAX / ms_per_minute ? INT32_MAX : minutes * ms_per_minute;
    }
    int32_t mebibytes = read_config_number("MAXFILESIZE");
    // In 32-bit unsigned arithmetic: 4096 and above wrap.
    if (mebibytes > 0) s.max_file_size = static_cast<uint32_t>(mebibytes) << 20;
    // Always taken: a missing key gives 0 and switches dumping off.
    s.dump_switch = read_config_number("AUTODUMP");
}

void arm_autodump_timer() {
    AutodumpSettings& s = autodump_settings;
    s.timer_id = platform::start_timer(static_cast<uint32_t>(s.interval), autodump_timer_callback);
    s.timer_running = s.timer_id != 0;
    // Without a timer no dump will ever run, and the folder is not made.
    if (s.timer_running) make_directory_path(autodump_paths.datafiles);
}

void start_autodump() {
    if (autodump_settings.timer_running) return;
    if (!compute_autodump_paths()) return;
    make_directory_path(autodump_paths.coverage);
    load_autodump_configuration();
    arm_autodump_timer();
}

void hold_autodump() {
    if (autodump_settings.timer_running) platform::hold_timer(autodump_settings.timer_id);
}

void stop_autodump() {
    AutodumpSettings& s = autodump_settings;
    if (!s.timer_running) return;
    platform::stop_timer(s.timer_id);
    s.timer_running = false;
    s.timer_id = 0;
}

// With the switch off the counts are still emptied at every interval: the
// timer keeps each interval's hits from piling up either way.
void autodump_timer_callback() {
    if (autodump_settings.dump_switch != 0) perform_dump();
    mirt_clear_coverage_data();
}

void perform_dump() {
    // A computer name that cannot be got is empty; it has at most 255 characters.
    char computer_buffer[256];
    platform::computer_name(computer_buffer, sizeof computer_buffer);
    const std::string computer = computer_buffer;

    uint32_t test_case = take_counter(autodump_paths.testcase_counter);
    std::string name = computer + "_" + std::to_string(static_cast<int32_t>(test_case));
    store_counter(autodump_paths.testcase_counter, test_case + 1);

    // The file begun last (number n - 1, "-1" for n = 0) takes the dump
    // while it is below the limit; a file that cannot be opened counts as
    // full. The size is tested before the write, so a file may overshoot
    // the limit by one record group.
    uint32_t next = take_counter(autodump_paths.outfile_counter);
    std::string path = output_file_name(computer, static_cast<int32_t>(next - 1));
    if (!platform::path_exists(path.c_str()) ||
        platform::shared_read_file_size(path.c_str()) >= autodump_settings.max_file_size) {
        path = output_file_name(computer, static_cast<int32_t>(next));
        store_counter(autodump_paths.outfile_counter, next + 1);
    }

    static char label[] = "Optimize";
    mirt_set_test_name(name.data(), static_cast<int>(name.size()), label);
    mirt_write_coverage_data(path.c_str());
}

}  // namespace mirt
