// error_log.cpp: the error log and the reporting of failures.
#include "core/error_log.h"

#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

#include "platform/files.h"
#include "core/paths.h"

namespace mirt {

const char* error_log_path = platform::default_error_log_path;

namespace {

FILE* error_log_stream = nullptr;

struct FailureText {
    const char* printed;  // with at most one %s, the subject
    int line;
    const char* logged;  // null: printed only
};

// In the order of Failure.
constexpr FailureText failure_texts[] = {
    {"Can't open the index file in append mode.\n", 765, "Can't open the index file in append mode."},
    {"Error: can't fprintf to %s\n", 828, "can't fprintf to index file"},
    {"Error: can't create the %s file.\n", 1488, "can't create file for tracing"},
    {"Error: can't write to the %s file.\n", 1508, "can't fprintf to trace file"},
    {"Error: can't close the %s file.\n", 0, nullptr},
    {"Error: can't open %s\n", 1184, "can not open file."},
    {"Error: mirt hash table too full.\n", 1193, "mirt hash table too full."},
    {"Error: can't fprintf to %s\n", 1202, "can't fprintf to file"},
    {"Error: can't fprintf to %s\n", 1222, "can't fprintf to file"},
    {"Error: can't close %s\n", 1241, "can not close file."},
    // The section writers' texts name "mirt.out" whatever the real path is.
    {"Error: can't fprintf to mirt.out\n", 1328, "can't fprintf to file"},
    {"Error: can't fprintf to mirt.out\n", 1337, "can't fprintf to file"},
    {"Error: can't fprintf to mirt.out\n", 1346, "can't fprintf to file"},
    {"Error: can't fprintf to mirt.out\n", 1417, "can't fprintf to file"},
    {"Error: can't fprintf to mirt.out\n", 1427, "can't fprintf to file"},
    {"Error: can't fprintf to mirt.out\n", 1436, "can't fprintf to file"},
    {"Error: can't fprintf to mirt.out\n", 280, "can't fprintf to mirt.out"},
    {"Error: can't fprintf to mirt.out\n", 288, "can't fprintf to mirt.out"},
    {"Error: can't fprintf to mirt.out\n", 295, "can't fprintf to mirt.out"},
    {"Error: can't fprintf to mirt.out\n", 1065, "can't fprintf to mirt.out."},
    {"Error: can't fprintf to mirt.out\n", 1073, "can't fprintf to mirt.out."},
    {"Error: can't fprintf to mirt.out\n", 1080, "can't fprintf to mirt.out."},
    {"Error: can't fprintf to mirt.out\n", 1113, "can't fprintf to mirt.out."},
    {"Error: can't fprintf to mirt.out\n", 1122, "can't fprintf to mirt.out."},
    {"Error: can't fprintf to mirt.out\n", 1131, "can't fprintf to mirt.out."},
};
static_assert(sizeof failure_texts / sizeof failure_texts[0] == static_cast<size_t>(Failure::module_count) + 1,
              "one text for every failure");

}  // namespace

namespace {

// True the first time a refused path is met; later refusals of it are quiet.
bool first_refusal(const char* path) {
    static auto* lock = new std::mutex;
    static auto* reported = new std::vector<std::string>;
    std::lock_guard<std::mutex> hold(*lock);
    for (const std::string& seen : *reported)
        if (seen == path) return false;
    reported->emplace_back(path);
    return true;
}

constexpr const char* regular_file = "a regular file";

void refusal_on_stderr(const char* path, const char* what = regular_file) {
    fprintf(stderr, "mirt64: refused %s: not %s of this user\n", path, what);
    fflush(stderr);
}

// False when the log cannot be opened (a refused log says so on standard error).
bool log_line(const char* source_file, int line, const char* message) {
    if (error_log_stream == nullptr) {
        std::string folder;
        if (!directory_of(error_log_path, &folder)) return false;
        make_directory_path(folder.c_str());
        bool refused = false;
        error_log_stream = platform::open_runtime_stream(error_log_path, "a+", &refused);
        if (error_log_stream == nullptr) {
            if (refused && first_refusal(error_log_path)) refusal_on_stderr(error_log_path);
            return false;
        }
    }
    fprintf(error_log_stream, "[%s,%d]%s\n", source_file, line, message);
    fflush(error_log_stream);  // a crash must not lose what was already reported
    return true;
}

}  // namespace

void write_error_log(const char* source_file, int line, const char* message) {
    log_line(source_file, line, message);
}

void report_refused_file(const char* source_file, int line, const char* path, const char* what) {
    if (path == nullptr || !first_refusal(path)) return;
    if (what == nullptr) what = regular_file;
    std::string message = std::string("refused ") + path + ": not " + what + " of this user";
    if (!log_line(source_file, line, message.c_str())) refusal_on_stderr(path, what);
}

void close_error_log() {
    if (error_log_stream != nullptr) {
        fclose(error_log_stream);
        error_log_stream = nullptr;
    }
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
void report_failure(const char* source_file, Failure failure, const char* subject) {
    const FailureText& text = failure_texts[static_cast<size_t>(failure)];
    printf(text.printed, subject != nullptr ? subject : "");
    fflush(stdout);
    if (text.logged != nullptr) write_error_log(source_file, text.line, text.logged);
}
#pragma GCC diagnostic pop

}  // namespace mirt
