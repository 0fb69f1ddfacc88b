// modules.cpp: registration of whole counter tables, their variants and merged views.
#include "core/modules.h"

#include <cstdlib>
#include <cstring>
#include <map>

#include "core/counts.h"
#include "mirt64.h"

namespace mirt {

// The containers are never destroyed: detach empties them, and on POSIX
// other threads may still run after the library's static destructors.
std::vector<StaticRegistration>& static_registrations() {
    static auto* registrations = new std::vector<StaticRegistration>;
    return *registrations;
}

std::unordered_map<std::string, ModuleRecord*>& module_registry() {
    static auto* registry = new std::unordered_map<std::string, ModuleRecord*>(8);
    return *registry;
}

std::vector<std::string>& module_names() {
    static auto* names = new std::vector<std::string>;
    return *names;
}

ModuleRecord* create_module_record(const char* name, int32_t count, const int32_t* lines) {
    if (name == nullptr) name = "";
    if (count < 0) count = 0;
    auto* record = new ModuleRecord;
    size_t length = strlen(name);
    record->name = static_cast<char*>(malloc(length + 1));
    memcpy(record->name, name, length + 1);
    record->count = count;
    // One element at least, so that the table handed out is never null.
    record->lines = static_cast<int32_t*>(calloc(count > 0 ? count : 1, sizeof(int32_t)));
    record->counters = static_cast<long long*>(calloc(count > 0 ? count : 1, sizeof(long long)));
    if (lines != nullptr && count > 0) memcpy(record->lines, lines, sizeof(int32_t) * count);
    return record;
}

void destroy_module_record(ModuleRecord* record) {
    if (record == nullptr) return;
    free(record->name);
    free(record->lines);
    free(record->counters);
    for (ModuleRecord* variant : record->variants) destroy_module_record(variant);
    for (ModuleRecord* loaded : record->attached) destroy_module_record(loaded);
    delete record;
}

namespace {

bool same_table(const ModuleRecord* record, int32_t count, const int32_t* lines) {
    if (record->count != count) return false;
    for (int32_t i = 0; i < count; ++i) {
        if (record->lines[i] != (lines != nullptr ? lines[i] : 0)) return false;
    }
    return true;
}

ModuleRecord* head_of(const std::string& name) {
    auto& registry = module_registry();
    auto it = registry.find(name);
    return it != registry.end() ? it->second : nullptr;
}

}  // namespace

int register_loaded_record(ModuleRecord* record) {
    if (record == nullptr) return 0;
    std::string name = record->name != nullptr ? record->name : "";
    if (ModuleRecord* head = head_of(name)) {
        head->attached.push_back(record);
        return 2;
    }
    module_registry()[name] = record;
    module_names().push_back(name);
    return 3;
}

MergedView merged_view(ModuleRecord* head) {
    if (head->attached.empty() && head->variants.empty()) return {head, false};
    std::vector<const ModuleRecord*> collected{head};
    collected.insert(collected.end(), head->attached.begin(), head->attached.end());
    collected.insert(collected.end(), head->variants.begin(), head->variants.end());
    std::map<int32_t, long long> totals;
    for (const ModuleRecord* record : collected) {
        for (int32_t i = 0; i < record->count; ++i) {
            long long& total = totals[record->lines[i]];
            total = add_counts(total, record->counters[i]);
        }
    }
    auto* view = create_module_record(head->name, static_cast<int32_t>(totals.size()), nullptr);
    int32_t i = 0;
    for (const auto& [line, total] : totals) {
        view->lines[i] = line;
        view->counters[i] = total;
        ++i;
    }
    return {view, true};
}

long long total_hits(const ModuleRecord* record) {
    long long total = 0;
    for (int32_t i = 0; i < record->count; ++i) total = add_counts(total, record->counters[i]);
    for (const ModuleRecord* loaded : record->attached) total = add_counts(total, total_hits(loaded));
    for (const ModuleRecord* variant : record->variants) total = add_counts(total, total_hits(variant));
    return total;
}

void clear_module_record(ModuleRecord* record) {
    if (record->count > 0) memset(record->counters, 0, sizeof(long long) * record->count);
    for (ModuleRecord* variant : record->variants) clear_module_record(variant);
    for (ModuleRecord* loaded : record->attached) destroy_module_record(loaded);
    record->attached.clear();
}

void clear_module_counts() {
    for (StaticRegistration& r : static_registrations()) {
        if (r.counters != nullptr && r.count > 0) memset(r.counters, 0, sizeof(long long) * r.count);
    }
    for (ModuleRecord* head : module_heads()) clear_module_record(head);
}

std::vector<ModuleRecord*> module_heads() {
    std::vector<ModuleRecord*> heads;
    for (const std::string& name : module_names()) {
        if (ModuleRecord* head = head_of(name)) heads.push_back(head);
    }
    return heads;
}

void destroy_all_modules() {
    auto& registry = module_registry();
    for (const std::string& name : module_names()) {
        auto it = registry.find(name);
        if (it != registry.end()) destroy_module_record(it->second);
    }
    registry = std::unordered_map<std::string, ModuleRecord*>(8);
    module_names().clear();
}

}  // namespace mirt

using namespace mirt;

// Nothing is validated or copied: the module's own tables are kept by address.
extern "C" int c_mirt_reg(char* name, int count, int* lines, long long* counters) {
    static_registrations().push_back({name, count, lines, counters});
    return 0;
}

// The same name with the same lines shares one counter table; the same name
// with other lines gets a table of its own, kept as a variant of the name.
extern "C" long long* c_mirt_reg2(char* name, int count, int* lines) {
    std::string key = name != nullptr ? name : "";
    if (ModuleRecord* head = head_of(key)) {
        for (ModuleRecord* variant : head->variants) {
            if (same_table(variant, count < 0 ? 0 : count, lines)) return variant->counters;
        }
        if (same_table(head, count < 0 ? 0 : count, lines)) return head->counters;
        ModuleRecord* variant = create_module_record(key.c_str(), count, lines);
        head->variants.push_back(variant);
        return variant->counters;
    }
    ModuleRecord* record = create_module_record(key.c_str(), count, lines);
    module_registry()[key] = record;
    module_names().push_back(key);
    return record->counters;
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wattribute-alias"
int mirt_reg(char* name, int count, int* lines, long long* counters) __attribute__((alias("c_mirt_reg")));
long long* mirt_reg2(char* name, int count, int* lines) __attribute__((alias("c_mirt_reg2")));
#pragma GCC diagnostic pop
