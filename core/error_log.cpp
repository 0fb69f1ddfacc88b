// error_log.cpp: the error log.
#include "error_log.h"

#include <cstdarg>
#include <string>

#include "files.h"
#include "paths.h"

namespace mirt {

const char* error_log_path = platform::default_error_log_path;
FILE* error_log_stream = nullptr;

void write_error_log(const char* source_file, int line, const char* message) {
    if (error_log_stream == nullptr) {
        std::string folder;
        if (!directory_of(error_log_path, &folder)) return;
        make_directory_path(folder.c_str());
        error_log_stream = fopen(error_log_path, "a+");
        if (error_log_stream == nullptr) return;
    }
    fprintf(error_log_stream, "[%s,%d]%s\n", source_file, line, message);
    fflush(error_log_stream);  // a crash must not lose what was already reported
}

void close_error_log() {
    if (error_log_stream != nullptr) {
        fclose(error_log_stream);
        error_log_stream = nullptr;
    }
}

void print_error(const char* format, ...) {
    va_list args;
    va_start(args, format);
    vprintf(format, args);
    va_end(args);
    fflush(stdout);
}

}  // namespace mirt
