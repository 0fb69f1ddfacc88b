// point_table.h: the numbered counters and the point-hit table that the simple probes fill.
#ifndef MIRT_CORE_POINT_TABLE_H
#define MIRT_CORE_POINT_TABLE_H

#include <cstdint>
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

extern PointHitEntry* point_hit_table;  // absent until first use
extern int32_t point_counter;           // number of the next new named point
extern int32_t point_entry_count;       // slots claimed since allocation; never decreases
extern uint64_t* simple_counters;       // absent until the first mirt_fn(int)
extern char test_name[test_text_size];
extern char test_label[test_text_size];

// Point records merged from clients' data files, each owning its key text.
std::vector<PointHitEntry*>& merged_points();

// Fold of a point name: h = (h * 2) XOR c over its bytes as signed chars.
uint32_t name_fold(const char* name);

// Regions of the table that have held a claimed slot since it was allocated.
// Every slot outside them is still zero, so the writers and clearing pass
// them over: in a table of 24 MiB that a run fills sparsely, reading pages
// that were never touched costs a page fault each.
inline constexpr uint32_t point_region_slots = 1024;
inline constexpr uint32_t point_region_count = point_table_slots / point_region_slots;
extern bool point_region_used[point_region_count];
inline void mark_point_slot(uint32_t slot) { point_region_used[slot / point_region_slots] = true; }
// Calls f(slot) for every slot of the used regions, in ascending order.
template <typename F>
void for_each_slot_in_used_regions(F f) {
    for (uint32_t r = 0; r < point_region_count; ++r) {
        if (!point_region_used[r]) continue;
        for (uint32_t slot = r * point_region_slots, end = slot + point_region_slots; slot < end; ++slot) f(slot);
    }
}
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

// Forgets where named points were last found; called whenever slots are
// emptied or moved.
void forget_recent_points();

// Frees the point-hit table; a later probe starts a fresh one.
void free_point_table();
// Frees every merged point record with its key text and empties the list.
void free_merged_points();

}  // namespace mirt

#endif
