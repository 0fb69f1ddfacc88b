// data_file.cpp: writing and merging the binary data files of clients.
#include "ipc/data_file.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "core/error_log.h"
#include "platform/files.h"
#include "core/point_table.h"
#include "core/process_state.h"
#include "core/source_lines.h"

namespace mirt {

namespace {

// The file's integers are in the machine's own order: little-endian on every
// system this library runs on.
template <typename T>
void put(FILE* file, T value) {
    fwrite(&value, sizeof value, 1, file);
}

void put_text(FILE* file, const char* text, uint64_t length) {
    put<uint64_t>(file, length);
    if (length > 0) fwrite(text, 1, length, file);
}

// Reads from a file that is trusted for nothing: every read is bounded by
// the bytes left, and what is missing reads as zeros.
class BoundedReader {
public:
    explicit BoundedReader(FILE* file) : file_(file) {
        long here = ftell(file);
        if (here >= 0 && fseek(file, 0, SEEK_END) == 0) {
            long end = ftell(file);
            if (end >= here) left_ = static_cast<uint64_t>(end - here);
            fseek(file, here, SEEK_SET);
        }
    }

    uint64_t left() const { return left_; }

    void bytes(void* out, uint64_t n) {
        uint64_t take = n < left_ ? n : left_;
        size_t got = take > 0 ? fread(out, 1, static_cast<size_t>(take), file_) : 0;
        if (got < n) memset(static_cast<char*>(out) + got, 0, static_cast<size_t>(n - got));
        left_ -= got;
        if (got < take) left_ = 0;  // the file ended early after all
    }

    template <typename T>
    T get() {
        T value;
        bytes(&value, sizeof value);
        return value;
    }

    // A text of the given length, cut to what is left; calloc'd and terminated.
    char* text(uint64_t* length) {
        uint64_t n = get<uint64_t>();
        if (n > left_) n = left_;
        char* text = static_cast<char*>(calloc(static_cast<size_t>(n) + 1, 1));
        if (text != nullptr) bytes(text, n);
        *length = text != nullptr ? n : 0;
        return text;
    }

private:
    FILE* file_;
    uint64_t left_ = 0;
};

void read_module(ModuleRecord* record, BoundedReader& in) {
    uint64_t length = 0;
    char* name = in.text(&length);
    int32_t n = in.get<int32_t>();
    // At most as many entries as the rest of the file holds line numbers.
    if (n < 0) n = 0;
    if (static_cast<uint64_t>(n) > in.left() / sizeof(int32_t)) n = static_cast<int32_t>(in.left() / sizeof(int32_t));
    free(record->name);
    free(record->lines);
    free(record->counters);
    record->name = name;
    record->count = n;
    record->lines = static_cast<int32_t*>(calloc(n > 0 ? n : 1, sizeof(int32_t)));
    record->counters = static_cast<long long*>(calloc(n > 0 ? n : 1, sizeof(long long)));
    in.bytes(record->lines, sizeof(int32_t) * static_cast<uint64_t>(n));
    in.bytes(record->counters, sizeof(long long) * static_cast<uint64_t>(n));
}

void merge_modules(BoundedReader& in) {
    uint64_t count = in.get<uint64_t>();
    for (uint64_t i = 0; i < count && in.left() > 0; ++i) {
        auto* record = new ModuleRecord;
        read_module(record, in);
        if (record->name == nullptr) record->name = static_cast<char*>(calloc(1, 1));
        register_loaded_record(record);
    }
}

void merge_points(BoundedReader& in) {
    uint64_t count = in.get<uint64_t>();
    for (uint64_t i = 0; i < count && in.left() > 0; ++i) {
        auto* entry = static_cast<PointHitEntry*>(calloc(1, sizeof(PointHitEntry)));
        uint64_t length = 0;
        char* key = in.text(&length);
        entry->key = reinterpret_cast<uintptr_t>(key);
        entry->line = in.get<int32_t>();
        entry->index = in.get<uint32_t>();
        entry->count = in.get<uint64_t>();
        add_merged_point(entry);
    }
}

void merge_lines(BoundedReader& in) {
    uint64_t files = in.get<uint64_t>();
    FileLineTable& table = file_line_table();
    for (uint64_t f = 0; f < files && in.left() > 0; ++f) {
        uint64_t length = 0;
        char* name = in.text(&length);
        uint64_t lines = in.get<uint64_t>();
        platform::LockHold hold(file_line_lock);
        table.file_entry(name != nullptr ? name : "", static_cast<size_t>(length));
        for (uint64_t l = 0; l < lines && in.left() > 0; ++l) {
            int32_t line = in.get<int32_t>();
            int64_t n = in.get<int64_t>();
            table.add_count(name != nullptr ? name : "", static_cast<size_t>(length), line, n);
        }
        free(name);
    }
}

// The count is that of the records written: a name without a record is
// skipped. A module with attached records or variants goes as its merged view.
void write_modules(FILE* file) {
    std::vector<ModuleRecord*> heads = module_heads();
    put<uint64_t>(file, heads.size());
    for (ModuleRecord* head : heads) {
        MergedView view = merged_view(head);
        write_module_record(view.record, file);
        if (view.owned) destroy_module_record(view.record);
    }
}

// The claimed slots in slot order; the count comes first, so they are
// collected before any is written.
void write_points(FILE* file) {
    std::vector<PointHitEntry> points;
    for_each_point([&points](const PointHitEntry& entry) { points.push_back(entry); });
    put<uint64_t>(file, points.size());
    for (const PointHitEntry& entry : points) {
        const char* key = key_text(entry.key);
        put_text(file, key, strlen(key));
        put<int32_t>(file, entry.line);
        put<uint32_t>(file, entry.index);
        put<uint64_t>(file, entry.count);
    }
}

void write_lines(FILE* file) {
    platform::LockHold hold(file_line_lock);
    const FileLineTable& table = file_line_table();
    put<uint64_t>(file, table.file_count());
    table.for_each([file](const FileLineTable::Entry& entry) {
        put_text(file, entry.name.data(), entry.name.size());
        put<uint64_t>(file, entry.lines.size());
        for (const auto& [line, count] : entry.lines) {
            put<int32_t>(file, line);
            put<int64_t>(file, count);
        }
    });
}

}  // namespace

void write_module_record(const ModuleRecord* record, FILE* file) {
    if (file == nullptr || record == nullptr) return;
    const char* name = record->name != nullptr ? record->name : "";
    put_text(file, name, strlen(name));
    int32_t n = record->count > 0 ? record->count : 0;
    put<int32_t>(file, n);
    if (n > 0) {
        fwrite(record->lines, sizeof(int32_t), static_cast<size_t>(n), file);
        fwrite(record->counters, sizeof(long long), static_cast<size_t>(n), file);
    }
}

void read_module_record(ModuleRecord* record, FILE* file) {
    if (file == nullptr || record == nullptr) return;
    BoundedReader in(file);
    read_module(record, in);
}

// The tables are read under merge_lock, so that a clear or a release of the
// tables on another thread of this process never runs in the middle. A file
// that could not be written whole (a full disk) is removed: the host must
// never take a cut file for the client's counts.
bool write_data_file(const char* path) {
    FILE* file = platform::create_private_stream(path);
    if (file == nullptr) return false;
    // A large buffer of its own for the write, on the heap: as thread-local
    // storage it would be zeroed in every thread of the program and at its start.
    constexpr size_t buffer_size = 1 << 16;
    std::unique_ptr<char[]> buffer(new (std::nothrow) char[buffer_size]);
    if (buffer != nullptr) setvbuf(file, buffer.get(), _IOFBF, buffer_size);
    {
        platform::LockHold hold(merge_lock);
        write_modules(file);
        write_points(file);
        write_lines(file);
    }
    bool whole = fflush(file) == 0 && ferror(file) == 0;
    if (fclose(file) == 0 && whole) return true;
    platform::delete_file(path);
    return false;
}

bool merge_data_file(const char* path) {
    platform::LockHold hold(merge_lock);
    bool refused = false;
    FILE* file = platform::open_runtime_stream(path, "rb", &refused);
    if (refused) MIRT_REPORT_REFUSED(path);
    if (file == nullptr) return false;
    BoundedReader in(file);
    merge_modules(in);
    merge_points(in);
    merge_lines(in);
    fclose(file);
    return true;
}

}  // namespace mirt
