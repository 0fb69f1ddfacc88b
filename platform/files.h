// platform/files.h: files, folders and fixed paths of the runtime, per operating system.
#ifndef MIRT_PLATFORM_FILES_H
#define MIRT_PLATFORM_FILES_H

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace mirt::platform {

// Fixed paths of the runtime on this system.
extern const char* const default_index_path;       // index of named points
extern const char* const default_error_log_path;   // error log
extern const char* const default_exit_output_path; // output written at process end
extern const char* const trace_file_default_name;  // trace, relative to the current folder

// The separator at which the directory maker splits a path.
extern const char directory_separator;

// A raw file handle: 0 means "none", invalid_file a failed creation.
using FileHandle = intptr_t;
extern const FileHandle invalid_file;

// The runtime's own files in folders that other users may write to (the
// fixed paths, the trace file, clients' data files) are opened through the
// functions below. On POSIX such a file is opened without following a
// symbolic link and without blocking, and kept only when it is a regular
// file of the effective user with no other name; a missing one is created
// exclusively. Anything else found at the path is refused: the open fails
// and *refused (when given) is set. On Windows these are the plain opens and
// never refuse.

// Creates (or truncates) a file for writing only, no sharing.
FileHandle create_write_file(const char* path, bool* refused = nullptr);
// Opens an existing file for writing at its end, creating it if missing.
FileHandle open_append_file(const char* path, bool* refused = nullptr);
// fopen of a runtime file with mode "r", "rb", "a+" or "a+b" (only the
// append modes create it).
FILE* open_runtime_stream(const char* path, const char* mode, bool* refused = nullptr);
// A stream that appends to a coverage file ("a+b"): a runtime file opened as
// above, or a path the program named, opened as it asks. Each write of the
// stream lands whole at the file's end, also where other processes append to
// the same file at once (on Windows, the stream holds a lock of the file till
// it is closed with close_append_stream, which returns fclose's result).
FILE* open_append_stream(const char* path, bool runtime_file, bool* refused = nullptr);
int close_append_stream(FILE* stream);
// A new file for writing ("wb") that replaces whatever had the name, for a
// folder that only the user can write to.
FILE* create_private_stream(const char* path);
// Writes all n bytes; false when the call fails or writes fewer.
bool write_file(FileHandle file, const void* data, size_t n);
bool close_file(FileHandle file);

// Whether the path exists (file or folder).
bool path_exists(const char* path);
// Creates one folder; on failure the system's error text is fetched and dropped.
bool create_directory(const char* path);
bool delete_file(const char* path);

// Size of an existing file, opened for reading with shared read access and
// closed again: its low 32 bits, or 0xFFFFFFFF when it cannot be opened (a
// folder cannot be opened as a file).
uint32_t shared_read_file_size(const char* path);

// The folder of clients' data files with its trailing separator, at most
// size - 1 characters: the temporary folder on Windows, the user's private
// runtime folder on POSIX. Returns false when it cannot be got.
bool temp_folder(char* buffer, size_t size);
// The user's private runtime folder when something else was found in its
// place (another user's folder, a link, a folder open to others): collection
// is then off. Null when none was refused, and always on Windows.
const char* refused_private_folder();

}  // namespace mirt::platform

#endif
