// point_table.cpp: the numbered counters, the point-hit table and the simple probes.
#include "core/point_table.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "core/error_log.h"
#include "core/index_file.h"
#include "core/internals.h"
#include "platform/memory.h"
#include "mirt64.h"
#include "core/process_state.h"
#include "core/trace.h"
#include "platform/text.h"
#include "platform/seldom_used.h"

namespace mirt {

PointHitEntry* point_hit_table = nullptr;
int32_t point_counter = 1;
int32_t point_entry_count = 0;
uint64_t* simple_counters = nullptr;

namespace {

// A slot claimed, under the probes' lock; a write's capacity check reads the
// count without it (point_table_full), so it is stored whole.
void count_claimed_slot() { __atomic_store_n(&point_entry_count, point_entry_count + 1, __ATOMIC_RELAXED); }

char test_name[test_text_size];
char test_label[test_text_size];

// Regions of the table that have held a claimed slot since it was allocated.
// Every slot outside them is still zero, so walks and clearing pass them
// over: in a table of 24 MiB that a run fills sparsely, reading pages that
// were never touched costs a page fault each.
constexpr uint32_t point_region_slots = 1024;
constexpr uint32_t point_region_count = point_table_slots / point_region_slots;
MIRT_SELDOM_USED("point_region_used") bool point_region_used[point_region_count];
inline void mark_point_slot(uint32_t slot) { point_region_used[slot / point_region_slots] = true; }

// Calls f(slot) for every slot of the used regions, in ascending order.
template <typename F>
void for_each_slot_in_used_regions(F f) {
    for (uint32_t r = 0; r < point_region_count; ++r) {
        if (!point_region_used[r]) continue;
        for (uint32_t slot = r * point_region_slots, end = slot + point_region_slots; slot < end; ++slot) f(slot);
    }
}

std::vector<PointHitEntry*>& merged_point_list() {
    // Never destroyed: detach and clearing empty it, and on POSIX other
    // threads may still run after the static destructors.
    static auto* points = new std::vector<PointHitEntry*>;
    return *points;
}

}  // namespace

const std::vector<PointHitEntry*>& merged_points() { return merged_point_list(); }
void add_merged_point(PointHitEntry* entry) { merged_point_list().push_back(entry); }

// Each step doubles h, so a byte k places from the end ends up shifted left by
// k and a byte 32 or more places from the end drops out: the fold is the XOR
// of the last 32 bytes, each shifted by its distance from the end. The terms
// do not wait for each other as the steps of the loop form did.
uint32_t name_fold(const char* name) {
    const size_t length = strlen(name);
    const size_t first = length > 32 ? length - 32 : 0;
    uint32_t even = 0, odd = 0;
    size_t i = first;
    for (; i + 1 < length; i += 2) {
        even ^= static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(name[i]))) << (length - 1 - i);
        odd ^= static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(name[i + 1]))) << (length - 2 - i);
    }
    if (i < length) even ^= static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(name[i])));
    return even ^ odd;
}

namespace {

// Puts a freshly allocated table in place unless another thread's first
// probe got there first; then the caller releases its copy and counts into
// the winner's table, so that threads starting at once share one table and
// lose neither memory nor hits to a table that is then dropped.
template <typename T>
bool install_table(T** table, void* fresh) {
    T* expected = nullptr;
    return fresh != nullptr && __atomic_compare_exchange_n(table, &expected, static_cast<T*>(fresh), false,
                                                           __ATOMIC_ACQ_REL, __ATOMIC_ACQUIRE);
}

}  // namespace

// The used-region marks are not reset here: they are all clear whenever the
// table is absent (free_point_table clears them), and a thread that lost the
// race to install would otherwise wipe the marks of the winner's first hits.
bool allocate_point_table() {
    void* fresh = calloc(point_table_slots, sizeof(PointHitEntry));
    if (install_table(&point_hit_table, fresh)) return true;
    free(fresh);
    return false;
}

namespace {

// The same pointer is the same text: a point named by a literal skips the
// comparison on every hit after its first.
bool same_name(const PointHitEntry& slot, const char* name) {
    return slot.key == reinterpret_cast<uintptr_t>(name) ||
           (slot.key != 0 && strcmp(reinterpret_cast<const char*>(slot.key), name) == 0);
}

// Where a named point (name, line) is, or would be claimed. found tells
// which. Once the cap is reached, a new point finds no slot: the walk ends
// after one turn of the table and returns nullptr instead of running on.
PointHitEntry* find_named_slot(const char* name, int32_t line, bool* found) {
    uint32_t slot = home_slot(name_fold(name), line);
    for (uint32_t step = 0; step < point_table_slots; ++step, slot = (slot + 1) & point_slot_mask) {
        PointHitEntry& entry = point_hit_table[slot];
        if (entry.line == line && same_name(entry, name)) {
            *found = true;
            return &entry;
        }
        if (entry.line == 0 && point_entry_count < point_table_cap) {
            *found = false;
            mark_point_slot(slot);
            return &entry;
        }
    }
    return nullptr;
}

// Where recent constructions found their named point, by the address of the
// name passed and the line: a point constructed again finds its slot without
// folding the name or walking the table. A slot stays the first match of its
// point in the probe sequence until a slot is emptied or moved, which only
// clearing, the point section's compaction and freeing do; they forget these
// entries. A hit still checks the slot's line and text.
struct RecentPoint {
    const char* name;
    int32_t line;
    uint32_t slot;
};
constexpr uint32_t recent_point_slots = 256;
MIRT_SELDOM_USED("recent_points") RecentPoint recent_points[recent_point_slots];

inline RecentPoint& recent_point(const char* name, int32_t line) {
    uintptr_t h = (reinterpret_cast<uintptr_t>(name) >> 3) ^ (static_cast<uint32_t>(line) * 0x9E3779B1u >> 20);
    return recent_points[h & (recent_point_slots - 1)];
}

// The library's name for a null point name: named points never hold a null key.
char empty_name[1] = "";

void forget_recent_points() { memset(recent_points, 0, sizeof recent_points); }

// Key text, then line. Points of one name usually share its address, which
// spares the text comparison.
bool slot_less(const PointHitEntry& x, const PointHitEntry& y) {
    if (x.key != y.key) {
        int by_key = strcmp(key_text(x.key), key_text(y.key));
        if (by_key != 0) return by_key < 0;
    }
    return x.line < y.line;
}

}  // namespace

bool point_table_allocated() { return point_hit_table != nullptr; }
// Read whole, without the probes' lock (relaxed: a plain move on their path).
bool point_table_full() { return __atomic_load_n(&point_entry_count, __ATOMIC_RELAXED) >= point_table_cap; }

void for_each_point(const std::function<void(const PointHitEntry&)>& f) {
    if (point_hit_table == nullptr) return;
    for_each_slot_in_used_regions([&f](uint32_t i) {
        if (point_hit_table[i].line != 0) f(point_hit_table[i]);
    });
}

// The front that the claimed slots move to is marked used in turn.
PointRun compact_and_sort_points() {
    if (point_hit_table == nullptr) return {nullptr, 0};
    size_t n = 0;
    for_each_slot_in_used_regions([&n](uint32_t i) {
        if (point_hit_table[i].line != 0) {
            mark_point_slot(static_cast<uint32_t>(n));
            point_hit_table[n++] = point_hit_table[i];
        }
    });
    forget_recent_points();
    // Unstable: equal points (the same text at two addresses, same line) keep no defined order.
    std::sort(point_hit_table, point_hit_table + n, slot_less);
    return {point_hit_table, n};
}

// Only the regions that ever held a slot can be other than zero.
void clear_point_table() {
    if (point_hit_table == nullptr) return;
    for (uint32_t r = 0; r < point_region_count; ++r) {
        if (point_region_used[r])
            memset(point_hit_table + r * point_region_slots, 0, sizeof(PointHitEntry) * point_region_slots);
    }
    forget_recent_points();
}

const uint64_t* simple_counts() { return simple_counters; }

void clear_simple_counters() {
    if (simple_counters != nullptr) memset(simple_counters, 0, sizeof(uint64_t) * simple_counter_count);
}

const char* current_test_name() { return test_name; }
const char* current_test_label() { return test_label; }

bool enter_listed_point(const char* name, int32_t line) {
    bool found = false;
    PointHitEntry* entry = find_named_slot(name, line, &found);
    if (entry == nullptr) return false;
    if (found) {
        entry->count += 1;
        return false;
    }
    entry->line = line;
    entry->key = reinterpret_cast<uintptr_t>(name);
    entry->count = 1;
    entry->index = static_cast<uint32_t>(point_counter++);
    count_claimed_slot();
    return true;
}

void free_point_table() {
    free(point_hit_table);
    point_hit_table = nullptr;
    memset(point_region_used, 0, sizeof point_region_used);
    forget_recent_points();
}

void free_merged_points() {
    auto& points = merged_point_list();
    for (PointHitEntry* entry : points) {
        free(reinterpret_cast<char*>(entry->key));
        free(entry);
    }
    points.clear();
}

}  // namespace mirt

using namespace mirt;

namespace {
// The first call only: kept out of line so that every later call is a test,
// a bounds check and an increment, with nothing saved around a call.
__attribute__((noinline, cold)) void count_first_simple(int id) {
    constexpr size_t bytes = simple_counter_count * sizeof(uint64_t);
    void* fresh = platform::allocate_zeroed_table(bytes);
    if (fresh != nullptr && !install_table(&simple_counters, fresh)) platform::release_zeroed_table(fresh, bytes);
    uint64_t* counters = __atomic_load_n(&simple_counters, __ATOMIC_ACQUIRE);
    if (counters != nullptr && static_cast<unsigned>(id) < simple_counter_count) counters[id] += 1;
}
}  // namespace

// Numbered counter. An id outside 0..999,999 counts nothing: the array has
// no room for it, and writing past it would corrupt the program.
int mirt_fn(int id) {
    uint64_t* counters = simple_counters;
    if (__builtin_expect(counters == nullptr, 0)) {
        count_first_simple(id);
        return 0;
    }
    if (static_cast<unsigned>(id) < simple_counter_count) counters[id] += 1;
    return 0;
}

// Pointer-keyed point: the key's text is never read here. A new key returns
// point_counter - 1 without advancing it; a known key returns its slot's
// number, which is 0 for pointer-keyed entries.
extern "C" int c_mirt_fn(char* key, int line) {
    if (point_hit_table == nullptr) load_index_file(0);
    if (point_hit_table == nullptr) return 0;
    const uint64_t k = reinterpret_cast<uintptr_t>(key);
    uint32_t slot = home_slot(k, line);
    for (uint32_t step = 0; step < point_table_slots; ++step, slot = (slot + 1) & point_slot_mask) {
        PointHitEntry& entry = point_hit_table[slot];
        if (entry.line == line && entry.key == k) {
            entry.count += 1;
            return static_cast<int>(entry.index);
        }
        if (entry.line == 0 && point_entry_count < point_table_cap) {
            mark_point_slot(slot);
            entry.line = line;
            entry.key = k;
            entry.count = 1;
            count_claimed_slot();
            return point_counter - 1;
        }
    }
    return 0;  // the cap is reached and the key is new: nothing is counted
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wattribute-alias"
int mirt_fn(char* key, int line) __attribute__((alias("c_mirt_fn")));
#pragma GCC diagnostic pop

// Named point: counts a hit and traces +n. The first probe of a process reads
// the index file back, so that a point keeps its number across processes.
mirt_obj::mirt_obj(char* name, int line) : index(0) {
    if (point_hit_table == nullptr) load_index_file(1);
    if (point_hit_table == nullptr) return;
    const char* text = name != nullptr ? name : empty_name;
    RecentPoint& recent = recent_point(text, line);
    if (recent.name == text && recent.line == line) {
        PointHitEntry& slot = point_hit_table[recent.slot & point_slot_mask];
        if (slot.line == line && same_name(slot, text)) {
            slot.count += 1;
            trace_append(static_cast<int32_t>(slot.index));
            index = static_cast<int>(slot.index);
            return;
        }
    }
    bool found = false;
    PointHitEntry* entry = find_named_slot(text, line, &found);
    if (entry == nullptr) return;
    recent = {text, line, static_cast<uint32_t>(entry - point_hit_table)};
    if (found) {
        entry->count += 1;
        trace_append(static_cast<int32_t>(entry->index));
        index = static_cast<int>(entry->index);
        return;
    }
    entry->line = line;
    entry->key = reinterpret_cast<uintptr_t>(text);
    entry->count = 1;
    count_claimed_slot();
    entry->index = static_cast<uint32_t>(point_counter);
    trace_append(point_counter);
    if (append_index_line(text, line)) {
        index = point_counter;
        point_counter += 1;
    } else {
        // The number is not used up: the next new point receives it again.
        MIRT_REPORT(Failure::index_write, index_file_path);
        index = 0;
    }
}

mirt_obj::~mirt_obj() { trace_append(-index); }

mirt_obj& mirt_obj::operator=(const mirt_obj& other) {
    index = other.index;
    return *this;
}

// The name is cut at 255 bytes and at its terminator; a negative length
// gives the empty name. The label is cut at 255 bytes as well.
extern "C" void c_mirt_set_test_name(char* name, int length, char* label) {
    int n = length > test_text_size - 1 ? test_text_size - 1 : length;
    if (n < 0) n = 0;
    copy_bounded(test_name, name, static_cast<size_t>(n));
    copy_bounded(test_label, label, test_text_size - 1);
}

extern "C" void c_mirt_allow_shutdown_writing(bool allowed) { shutdown_writing_allowed = allowed; }

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wattribute-alias"
void mirt_set_test_name(char* name, int length, char* label) __attribute__((alias("c_mirt_set_test_name")));
void mirt_allow_shutdown_writing(bool allowed) __attribute__((alias("c_mirt_allow_shutdown_writing")));
#pragma GCC diagnostic pop
