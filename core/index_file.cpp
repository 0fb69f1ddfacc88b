// index_file.cpp: reading back and appending to the index file.
#include "core/index_file.h"

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <vector>

#include "core/error_log.h"
#include "platform/files.h"
#include "core/internals.h"
#include "core/point_table.h"

namespace mirt {

namespace {
// The names read back from the index file, kept for the life of the process
// (named points hold pointers to them; a table freed at detach leaves them
// here rather than lost).
std::vector<char*>& listed_names() {
    static auto* names = new std::vector<char*>;
    return *names;
}
}  // namespace

const char* index_file_path = platform::default_index_path;
FILE* index_stream = nullptr;

namespace {
bool index_closed_by_write = false;

// A new point's line and a write's close of the stream may come from two
// threads at once (at exit() on POSIX every thread still runs): the stream
// is used and closed under this lock. Only the first hit of a point takes it.
std::mutex& index_stream_lock() {
    static auto* lock = new std::mutex;
    return *lock;
}
}  // namespace

void load_index_file(int mode) {
    // Only the call that put the table in place reads the index: a probe
    // that lost the race to another thread's first probe uses its table.
    if (!allocate_point_table() || mode != index_mode_numbering) return;
    // Other threads' probes use the table from here on. Reading and opening
    // under the stream's lock makes a new point of theirs wait for its index
    // line until the stream is open, and orders this store of the stream
    // before a write's close of it.
    std::unique_lock<std::mutex> hold(index_stream_lock());
    bool refused = false;
    if (FILE* listed = platform::open_runtime_stream(index_file_path, "r", &refused)) {
        // A line longer than the buffer is read on as the next line, as fgets does.
        char line[1023];
        while (fgets(line, sizeof line, listed) != nullptr) {
            // A line without a comma names no point and is passed over.
            const char* comma = strchr(line, ',');
            if (comma == nullptr) continue;
            size_t length = static_cast<size_t>(comma - line);
            char* name = static_cast<char*>(malloc(length + 1));
            if (name == nullptr) continue;
            memcpy(name, line, length);
            name[length] = '\0';
            // The copy is kept for the life of the process when the table
            // holds it; a repeated point keeps its first number and copy.
            if (enter_listed_point(name, atoi(comma + 1))) listed_names().push_back(name);
            else free(name);
        }
        fclose(listed);
    }
    index_stream = platform::open_runtime_stream(index_file_path, "a+", &refused);
    const bool opened = index_stream != nullptr;
    hold.unlock();
    if (!opened) {
        if (refused) MIRT_REPORT_REFUSED(index_file_path);
        MIRT_REPORT(Failure::index_append_open);
    }
}

void lock_index_stream() { index_stream_lock().lock(); }
void unlock_index_stream() { index_stream_lock().unlock(); }

bool append_index_line(const char* name, int line) {
    std::lock_guard<std::mutex> hold(index_stream_lock());
    if (index_stream == nullptr && index_closed_by_write) {
        index_closed_by_write = false;
        bool refused = false;
        index_stream = platform::open_runtime_stream(index_file_path, "a+", &refused);
        if (refused) MIRT_REPORT_REFUSED(index_file_path);
    }
    if (index_stream == nullptr) return false;
    // Flushed at once so that a process started next numbers its points
    // with this one already listed.
    return fprintf(index_stream, "%s,%d\n", name, line) >= 0 && fflush(index_stream) == 0;
}

void close_index_after_write() {
    std::lock_guard<std::mutex> hold(index_stream_lock());
    if (index_stream == nullptr) return;
    fclose(index_stream);
    index_stream = nullptr;
    index_closed_by_write = true;
}

}  // namespace mirt
