// error_log.h: the error log, where every failure of the runtime is appended as one line,
// and the one way to report a failure.
#ifndef MIRT_CORE_ERROR_LOG_H
#define MIRT_CORE_ERROR_LOG_H

namespace mirt {

// Path of the error log; a writable global so that it can be pointed elsewhere.
extern const char* error_log_path;

// Appends "[source_file,line]message" and a line feed to the error log,
// opening it (and making its folder) on first use. A failure of the log
// itself is silent.
void write_error_log(const char* source_file, int line, const char* message);

// Reports once per path that a file of the runtime's own was refused (the
// platform found a link, a FIFO or another user's file in its place): in
// the error log, or on standard error when the log itself cannot be used.
// The caller then goes on as after any failed open. what names what should
// have been there (null: "a regular file").
void report_refused_file(const char* source_file, int line, const char* path, const char* what = nullptr);

// Closes the error log if it is open; a later failure opens it again.
void close_error_log();

// Every failure that the runtime reports. Each has its printed text, its
// error-log message and the line number that the log gives it, which are
// the system's own and stay as they are.
enum class Failure {
    index_append_open,  // the index file cannot be opened for appending
    index_write,        // a new named point's index line cannot be written
    trace_create,       // the trace file cannot be created
    trace_write,        // buffered trace records cannot be written
    trace_close,        // the trace file cannot be closed (printed only)
    output_open,        // the coverage file cannot be opened
    table_full,         // the point-hit table has reached its cap
    header_write,       // a record group's header cannot be written
    counter_write,      // a numbered counter's line cannot be written
    output_close,       // the coverage file cannot be closed
    // A section's directory heading, file heading or count line cannot be written.
    point_directory, point_file, point_count,
    merged_directory, merged_file, merged_count,
    line_directory, line_file, line_count,
    static_directory, static_file, static_count,
    module_directory, module_file, module_count,
};

// Prints the failure's text to standard output (subject in place of its %s)
// and flushes it, so that it is seen even if the process is killed
// afterwards; then logs it with source_file and the failure's line number.
void report_failure(const char* source_file, Failure failure, const char* subject = nullptr);

}  // namespace mirt

// Reports a failure under the name of the source file that meets it.
#define MIRT_REPORT(failure, ...) ::mirt::report_failure(__FILE_NAME__, (failure), ##__VA_ARGS__)
#define MIRT_REPORT_REFUSED(path) ::mirt::report_refused_file(__FILE_NAME__, __LINE__, (path))
#define MIRT_REPORT_REFUSED_AS(path, what) ::mirt::report_refused_file(__FILE_NAME__, __LINE__, (path), (what))

#endif
