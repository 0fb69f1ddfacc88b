// point_table.h: the numbered counters and the point-hit table that the simple probes fill.
#ifndef MIRT_CORE_POINT_TABLE_H
#define MIRT_CORE_POINT_TABLE_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace mirt {

// One slot of the point-hit table. key is the caller's pointer value, or for
// a named point a pointer to its name; a slot whose line is 0 is empty.
struct PointHitEntry {
    uint64_t key;
    int32_t line;
    uint32_t index;
    uint64_t count;
};
static_assert(sizeof(PointHitEntry) == 24, "a slot is 24 bytes");

inline constexpr uint32_t point_table_slots = 0x100000;
inline constexpr uint32_t point_slot_mask = point_table_slots - 1;
inline constexpr int32_t point_table_cap = 0xC0000;
inline constexpr int simple_counter_count = 1000000;
inline constexpr int test_text_size = 256;

// A key read as the file name it stands for; a null key (a pointer-keyed
// probe given a null pointer) is the empty name.
inline const char* key_text(uint64_t key) { return key != 0 ? reinterpret_cast<const char*>(key) : ""; }

// Fold of a point name: h = (h * 2) XOR c over its bytes as signed chars.
uint32_t name_fold(const char* name);
// Home slot of (key, line): (line * 257 + key * 81) mod 0x100000.
inline uint32_t home_slot(uint64_t key, int32_t line) {
    return static_cast<uint32_t>(static_cast<uint64_t>(static_cast<uint32_t>(line)) * 257u + key * 81u) &
           point_slot_mask;
}

// Allocates the point-hit table zeroed, unless it is there already (another
// thread's first probe made it). True when this call put it in place.
bool allocate_point_table();
// Enters a point listed in the index file: numbered, count 1, not traced.
// Returns true when it claimed a new slot (false when the point was known).
bool enter_listed_point(const char* name, int32_t line);

bool point_table_allocated();
// Every claim since the table was allocated counts towards the cap; a write
// refuses a table that has reached it.
bool point_table_full();
// Calls f on every claimed slot, in slot order.
void for_each_point(const std::function<void(const PointHitEntry&)>& f);
// Moves the claimed slots to the front of the table (the rest are left as
// they were) and sorts them by key text, then line; returns them. The hash
// order is given up for good: a later hit of a moved point may count into a
// stale copy or a new slot.
struct PointRun {
    const PointHitEntry* first;
    size_t count;
};
PointRun compact_and_sort_points();
// Empties every slot; the entry count and the point numbering are kept.
void clear_point_table();
// Frees the point-hit table; a later probe starts a fresh one.
void free_point_table();

// The numbered counters (simple_counter_count of them), or null before the
// first mirt_fn(int).
const uint64_t* simple_counts();
void clear_simple_counters();

// The two labels of the record groups; empty until mirt_set_test_name.
const char* current_test_name();
const char* current_test_label();

// Point records merged from clients' data files, each owning its key text.
const std::vector<PointHitEntry*>& merged_points();
// Takes a record allocated with calloc whose key is a malloc'd text.
void add_merged_point(PointHitEntry* entry);
// Frees every merged point record with its key text and empties the list.
void free_merged_points();

}  // namespace mirt

#endif
