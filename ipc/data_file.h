// data_file.h: the binary file in which a client hands its counts to the host.
//
// Three sections, one after the other, little-endian, no header:
//   modules:  count (8); per module: name length (8), name, entries n (4),
//             lines n x 4, counts n x 8
//   points:   count (8); per point: key length (8), key, line (4),
//             second field (4), count (8)
//   lines:    count (8); per file: name length (8), name, line count (8);
//             per line: line (4), count (8)
#ifndef MIRT_IPC_DATA_FILE_H
#define MIRT_IPC_DATA_FILE_H

#include <cstdio>

#include "core/modules.h"

namespace mirt {

// Writes the process's registered modules, named points and source lines to
// path, as a new file in place of whatever had the name. False when the file
// cannot be created or written whole; a file cut short is removed.
bool write_data_file(const char* path);

// Adds a data file's counts to this process's tables, under merge_lock:
// modules are attached to the registration of their name (or registered),
// points join merged_points, source lines are added to the line table.
// False when the file cannot be opened, or is not the user's own regular
// file (platform/files.h); then nothing changes.
//
// Nothing in the file is trusted: every count and length is bounded by the
// bytes left in the file. A truncated file gives its last entry partly read
// and zero-filled; no entry is made up after the end of the file.
bool merge_data_file(const char* path);

// One module record each way; both do nothing when file is null. The reader
// fills record (name, count, lines, counters), replacing nothing that it
// does not own: record should come fresh from new.
void write_module_record(const ModuleRecord* record, FILE* file);
void read_module_record(ModuleRecord* record, FILE* file);

}  // namespace mirt

#endif
