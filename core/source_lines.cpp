// source_lines.cpp: the source-line probe and its table of files and lines.
#include "core/source_lines.h"

#include <cstring>

#include "core/counts.h"
#include "mirt64.h"
#include "core/process_state.h"

namespace mirt {

namespace {
constexpr uint32_t max_load_per_bucket = 4;

inline uint64_t load64(const char* p) {
    uint64_t v;
    memcpy(&v, p, 8);
    return v;
}

inline uint64_t mix(uint64_t h) {
    h ^= h >> 33;
    h *= 0xff51afd7ed558ccdULL;
    h ^= h >> 33;
    return h;
}
}  // namespace

// Eight bytes at a time: a file name of some 30 bytes costs four rounds.
uint64_t FileLineTable::hash_bytes(const char* data, size_t length) {
    uint64_t h = 0x9E3779B97F4A7C15ULL ^ (length * 0xC2B2AE3D27D4EB4FULL);
    size_t i = 0;
    for (; i + 8 <= length; i += 8) {
        h = (h ^ load64(data + i)) * 0x9E3779B97F4A7C15ULL;
        h = (h << 31) | (h >> 33);
    }
    uint64_t tail = 0;
    if (i < length) memcpy(&tail, data + i, length - i);
    h = (h ^ tail) * 0xC6A4A7935BD1E995ULL;
    return mix(h);
}

FileLineTable::FileLineTable() { segments_[0] = new Entry*[first_segment](); }

FileLineTable::Entry** FileLineTable::bucket(uint32_t index) const {
    if (index < first_segment) return &segments_[0][index];
    int top = 31 - __builtin_clz(index);  // index >= 8, so top >= 3
    int segment = top - 2;
    uint32_t start = 1u << top;
    return &segments_[segment][index - start];
}

uint32_t FileLineTable::bucket_index(uint64_t hash) const {
    uint32_t index = static_cast<uint32_t>(hash) & mask_;
    if (index >= bucket_count_) index -= (mask_ + 1) / 2;
    return index;
}

FileLineTable::Entry* FileLineTable::lookup(uint64_t hash, const char* file, size_t length) const {
    for (Entry* e = *bucket(bucket_index(hash)); e != nullptr; e = e->next) {
        if (e->hash == hash && e->name.size() == length && memcmp(e->name.data(), file, length) == 0) return e;
    }
    return nullptr;
}

FileLineTable::Entry* FileLineTable::insert(uint64_t hash, const char* file, size_t length) {
    auto* entry = new Entry{hash, std::string(file, length), {}, nullptr, {}};
    Entry** head = bucket(bucket_index(hash));
    entry->next = *head;
    *head = entry;
    ++entries_;
    if (entries_ > static_cast<size_t>(bucket_count_) * max_load_per_bucket) split_one_bucket();
    return entry;
}

// Adds bucket number bucket_count_ and moves into it the entries of the one
// bucket that shared its index under the smaller mask.
void FileLineTable::split_one_bucket() {
    uint32_t added = bucket_count_;
    if (added == 0x80000000u) return;  // the table is as large as it gets
    if (added >= first_segment && (added & (added - 1)) == 0) {
        int segment = (31 - __builtin_clz(added)) - 2;
        segments_[segment] = new Entry*[added]();
    }
    ++bucket_count_;
    if (bucket_count_ > mask_ + 1) mask_ = mask_ * 2 + 1;
    Entry** source = bucket(added - (mask_ + 1) / 2);
    Entry** target = bucket(added);
    Entry** link = source;
    while (Entry* e = *link) {
        if ((static_cast<uint32_t>(e->hash) & mask_) == added) {
            *link = e->next;
            e->next = *target;
            *target = e;
        } else {
            link = &e->next;
        }
    }
}

void LineIndex::place(int32_t line, int64_t* count) {
    uint32_t i = slot_of(line);
    while (slots_[i].count != nullptr) i = (i + 1) & mask_;
    slots_[i] = {line, count};
}

void LineIndex::add(int32_t line, int64_t* count) {
    if (slots_ == nullptr || (used_ + 1) * 2 > mask_ + 1) {
        // Grow to keep the index at most half full.
        uint32_t capacity = slots_ == nullptr ? 16 : (mask_ + 1) * 2;
        Slot* old = slots_;
        uint32_t old_capacity = slots_ == nullptr ? 0 : mask_ + 1;
        slots_ = new Slot[capacity]();
        mask_ = capacity - 1;
        shift_ = 32 - static_cast<uint32_t>(__builtin_ctz(capacity));
        for (uint32_t i = 0; i < old_capacity; ++i) {
            if (old[i].count != nullptr) place(old[i].line, old[i].count);
        }
        delete[] old;
    }
    place(line, count);
    ++used_;
}

void LineIndex::reset() {
    delete[] slots_;
    slots_ = nullptr;
    mask_ = 0;
    shift_ = 32;
    used_ = 0;
}

void FileLineTable::add_line(Entry& entry, int32_t line, int64_t n) {
    if (int64_t* count = entry.index.find(line)) {
        *count = add_counts(*count, n);
        return;
    }
    auto [it, inserted] = entry.lines.emplace(line, n);
    if (!inserted) it->second = add_counts(it->second, n);
    entry.index.add(line, &it->second);
}

void FileLineTable::record_hit(const char* file, int32_t line) {
    Recent& recent = recent_[(reinterpret_cast<uintptr_t>(file) >> 3) & (recent_slots - 1)];
    Entry* entry = recent.entry;
    if (recent.pointer != file || strcmp(file, entry->name.c_str()) != 0) {
        size_t length = strlen(file);
        uint64_t hash = hash_bytes(file, length);
        entry = lookup(hash, file, length);
        if (entry == nullptr) entry = insert(hash, file, length);
        recent = {file, entry};
    }
    add_line(*entry, line, 1);
}

FileLineTable::Entry& FileLineTable::file_entry(const char* file, size_t length) {
    uint64_t hash = hash_bytes(file, length);
    if (Entry* e = lookup(hash, file, length)) return *e;
    return *insert(hash, file, length);
}

void FileLineTable::add_count(const char* file, size_t length, int32_t line, int64_t n) {
    add_line(file_entry(file, length), line, n);
}

line_count_map* FileLineTable::find(const char* file, size_t length) {
    Entry* e = lookup(hash_bytes(file, length), file, length);
    return e != nullptr ? &e->lines : nullptr;
}

void FileLineTable::empty_all_line_maps() {
    if (entries_ == 0) return;
    for_each([](Entry& e) {
        e.lines.clear();
        e.index.reset();
    });
}

FileLineTable& file_line_table() {
    // Never destroyed: the exit path writes from it after the static
    // destructors may have run, and on POSIX other threads may still probe.
    static auto* table = new FileLineTable;
    return *table;
}

int64_t total_of(const line_count_map& lines) {
    int64_t total = 0;
    for (const auto& [line, count] : lines) total = add_counts(total, count);
    return total;
}

}  // namespace mirt

using namespace mirt;

// Source-line probe: exact under threads, since every hit is counted under
// file_line_lock. A null file name counts nothing.
extern "C" int c_mirt_fn2(char* file, int line) {
    if (file == nullptr) return 0;
    static FileLineTable& table = file_line_table();
    platform::LockHold hold(file_line_lock);
    table.record_hit(file, line);
    return 0;
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wattribute-alias"
int mirt_fn2(char* file, int line) __attribute__((alias("c_mirt_fn2")));
// The void form is the very same code: callers built against either prototype reach one probe.
void mirt_fn22(char* file, int line) __attribute__((alias("c_mirt_fn2")));
#pragma GCC diagnostic pop
