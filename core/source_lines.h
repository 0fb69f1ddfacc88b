// source_lines.h: hits of source lines reported by file name and line number.
#ifndef MIRT_CORE_SOURCE_LINES_H
#define MIRT_CORE_SOURCE_LINES_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

namespace mirt {

// Line number to hit count, lines ascending by signed comparison.
using line_count_map = std::map<int32_t, int64_t>;

// Line number to the count's place in a file's line map: an open-addressing
// index that spares the probe a walk down the ordered map on every hit. The
// map's nodes stay where they are until the map is emptied, which resets
// the index too.
class LineIndex {
public:
    LineIndex() = default;
    LineIndex(const LineIndex&) = delete;
    LineIndex& operator=(const LineIndex&) = delete;
    ~LineIndex() { delete[] slots_; }

    int64_t* find(int32_t line) const {
        if (slots_ == nullptr) return nullptr;
        for (uint32_t i = slot_of(line);; i = (i + 1) & mask_) {
            if (slots_[i].count == nullptr) return nullptr;
            if (slots_[i].line == line) return slots_[i].count;
        }
    }
    void add(int32_t line, int64_t* count);
    void reset();

private:
    struct Slot {
        int32_t line;
        int64_t* count;  // null: the slot is free
    };
    uint32_t slot_of(int32_t line) const { return (static_cast<uint32_t>(line) * 0x9E3779B1u) >> shift_; }
    void place(int32_t line, int64_t* count);

    Slot* slots_ = nullptr;
    uint32_t mask_ = 0;
    uint32_t shift_ = 32;
    uint32_t used_ = 0;
};

// File name (its exact bytes) to its line counts. A hash table that grows by
// splitting one bucket at a time, so that a new file never rehashes the
// whole table. Entries never move and are never freed while the table
// lives. Every use of the table holds file_line_lock.
class FileLineTable {
public:
    struct Entry {
        uint64_t hash;
        std::string name;
        line_count_map lines;
        Entry* next;
        LineIndex index;
    };

    FileLineTable();
    FileLineTable(const FileLineTable&) = delete;
    FileLineTable& operator=(const FileLineTable&) = delete;

    // Adds 1 to (file, line), creating what is missing.
    void record_hit(const char* file, int32_t line);
    // Adds n to (file, line); a missing file gets an entry first (with an
    // empty map), a missing line is inserted with n.
    void add_count(const char* file, size_t length, int32_t line, int64_t n);
    // The file's entry, creating it with an empty map when it is missing.
    Entry& file_entry(const char* file, size_t length);
    line_count_map* find(const char* file, size_t length);
    line_count_map* find(const std::string& file) { return find(file.data(), file.size()); }
    size_t file_count() const { return entries_; }
    // Empties every file's line map; the file entries stay.
    void empty_all_line_maps();

    // Calls f(entry) for every file, in table order.
    template <typename F>
    void for_each(F f) const {
        for (uint32_t b = 0; b < bucket_count_; ++b) {
            for (Entry* e = *bucket(b); e != nullptr; e = e->next) f(*e);
        }
    }

    static uint64_t hash_bytes(const char* data, size_t length);

private:
    // Buckets live in segments that are never moved: segment 0 holds
    // buckets 0..7, segment k (k >= 1) buckets 8 * 2^(k-1) .. 8 * 2^k - 1.
    static constexpr uint32_t first_segment = 8;
    static constexpr int segment_slots = 29;
    Entry** bucket(uint32_t index) const;
    uint32_t bucket_index(uint64_t hash) const;
    Entry* lookup(uint64_t hash, const char* file, size_t length) const;
    Entry* insert(uint64_t hash, const char* file, size_t length);
    void split_one_bucket();
    static void add_line(Entry& entry, int32_t line, int64_t n);

    // The entries that recent calls reached, by the address of the name
    // they passed: a probe called again with the same text at the same
    // address finds its file without hashing the name. Every hit compares
    // the text, so a reused buffer holding another name is never mistaken.
    struct Recent {
        const char* pointer;
        Entry* entry;
    };
    static constexpr uint32_t recent_slots = 64;
    Recent recent_[recent_slots] = {};

    Entry** segments_[segment_slots] = {};
    uint32_t bucket_count_ = first_segment;
    uint32_t mask_ = first_segment - 1;
    size_t entries_ = 0;
};

// The process's table; it lives as long as the process.
FileLineTable& file_line_table();

// Sum of a file's counts; 0 for an empty map.
int64_t total_of(const line_count_map& lines);

}  // namespace mirt

#endif
