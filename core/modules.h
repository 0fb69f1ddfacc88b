// modules.h: counter tables that instrumented modules register whole, by name.
#ifndef MIRT_CORE_MODULES_H
#define MIRT_CORE_MODULES_H

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

namespace mirt {

// A module's own tables, registered with mirt_reg; nothing is copied.
struct StaticRegistration {
    char* name;
    int32_t count;
    int32_t* lines;
    long long* counters;  // the module increments them; the library reads and zeroes them
};

// A table registered with mirt_reg2 (the library owns its counters), or one
// loaded from another process's data file.
struct ModuleRecord {
    char* name = nullptr;
    int32_t count = 0;
    int32_t* lines = nullptr;
    long long* counters = nullptr;
    std::vector<ModuleRecord*> attached;  // same name, loaded from other processes
    std::vector<ModuleRecord*> variants;  // same name, other lines (heads only)
};

std::vector<StaticRegistration>& static_registrations();
// Name to the head record of that name.
std::unordered_map<std::string, ModuleRecord*>& module_registry();
// Each registered name once, in the order of its first registration.
std::vector<std::string>& module_names();

// A record owning copies of name and lines and a zeroed counter table. A
// negative count is taken as 0; missing lines are taken as zeros.
ModuleRecord* create_module_record(const char* name, int32_t count, const int32_t* lines);
// Frees the record with its arrays, its variants and its attached records.
void destroy_module_record(ModuleRecord* record);

// Takes a record read from a data file: attached to the registration of its
// name (2), or made the head of a new name (3); 0 when record is absent.
int register_loaded_record(ModuleRecord* record);

// The record itself when it has no attached records and no variants;
// otherwise a new record (owned set) summing the counts of the record, its
// attached records and its variants per line number, lines ascending.
struct MergedView {
    ModuleRecord* record;
    bool owned;
};
MergedView merged_view(ModuleRecord* head);

// Sum of the record's counters and, recursively, of its attached records and variants.
long long total_hits(const ModuleRecord* record);

// Zeroes the record's counters and its variants' (recursively) and destroys
// its attached records; the record and every counter table stay.
void clear_module_record(ModuleRecord* record);
// Zeroes the counters of every static registration, then clears every
// module's record: the registrations and their counter tables stay.
void clear_module_counts();
// The head record of every registered name, in the order of the name list.
std::vector<ModuleRecord*> module_heads();

// Destroys every registered record and empties the registry and the name list.
void destroy_all_modules();

}  // namespace mirt

#endif
