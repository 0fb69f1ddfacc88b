// index_file.h: the index file, which gives named points stable numbers across processes and runs.
#ifndef MIRT_CORE_INDEX_FILE_H
#define MIRT_CORE_INDEX_FILE_H

namespace mirt {

// Path of the index file; a writable global so that it can be pointed elsewhere.
extern const char* index_file_path;

inline constexpr int index_mode_numbering = 1;

// Allocates the point-hit table zeroed. In numbering mode also enters every
// point listed in the index file, numbering them 1, 2, 3 ... in file order,
// and opens the file for appending. Does nothing when the table is already
// there (another thread's first probe made it).
void load_index_file(int mode);

// The lock of the index file's stream, held across fork() so that no other
// thread is inside an append at that moment: the child could never take it.
void lock_index_stream();
void unlock_index_stream();

// Appends "name,line" for a newly numbered point. False when the line could
// not be written (the stream was never opened, or the write failed).
bool append_index_line(const char* name, int line);

// After a successful coverage write (one with a trace file): closes the
// index stream if it is open and marks it closed, so that the next new named
// point opens it again for appending.
void close_index_after_write();

}  // namespace mirt

#endif
