// error_log.h: the error log, where every failure of the runtime is appended as one line.
#ifndef MIRT_CORE_ERROR_LOG_H
#define MIRT_CORE_ERROR_LOG_H

#include <cstdio>

namespace mirt {

// Path of the error log; a writable global so that it can be pointed elsewhere.
extern const char* error_log_path;
extern FILE* error_log_stream;

// Appends "[source_file,line]message" and a line feed to the error log,
// opening it (and making its folder) on first use. A failure of the log
// itself is silent.
void write_error_log(const char* source_file, int line, const char* message);

// Closes the error log if it is open; a later failure opens it again.
void close_error_log();

// Prints a failure message to standard output (printf-style) and flushes it,
// so that it is seen even if the process is killed afterwards.
void print_error(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace mirt

// Logs message with this source file's name and the given line number.
#define MIRT_LOG_ERROR(line, message) ::mirt::write_error_log(__FILE_NAME__, (line), (message))

#endif
