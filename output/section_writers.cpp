// section_writers.cpp: the five sections of a record group and their shared line grammar.
#include "output/section_writers.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <map>
#include <vector>

#include "core/counts.h"
#include "output/emit.h"
#include "core/error_log.h"
#include "core/modules.h"
#include "core/point_table.h"
#include "core/process_state.h"
#include "core/source_lines.h"
#include "platform/text.h"

namespace mirt {

namespace {

// What each line of a section reports when it cannot be written.
struct SectionFailures {
    Failure directory;
    Failure file;
    Failure count;
};

// One section's output: directory headings only on change (the remembered
// directory starts empty in every section), file headings, count lines.
class Section {
public:
    Section(FILE* stream, bool fold_case, SectionFailures failures)
        : stream_(stream), fold_case_(fold_case), failures_(failures) {}

    // The directory heading when the key's directory differs from the last
    // one written, then the file heading.
    bool headings(const char* key) {
        std::string directory, file;
        split_key(key, &directory, &file);
        bool same = fold_case_ ? ascii_casecmp(directory.c_str(), remembered_.c_str()) == 0 : directory == remembered_;
        if (!same) {
            if (emit(stream_, "--- %s\n", directory.c_str()) < 0) return fail(failures_.directory);
            remembered_ = directory;
        }
        if (emit(stream_, "### %s\n", file.c_str()) < 0) return fail(failures_.file);
        return true;
    }

    bool count(int32_t line, int64_t value) {
        if (emit(stream_, count_line_format, line, value) < 0) return fail(failures_.count);
        return true;
    }

private:
    bool fail(Failure failure) {
        MIRT_REPORT(failure);
        return false;
    }

    FILE* stream_;
    bool fold_case_;
    SectionFailures failures_;
    std::string remembered_;
};

bool name_less(const char* a, const char* b) { return strcmp(a != nullptr ? a : "", b != nullptr ? b : "") < 0; }

}  // namespace

void split_key(const char* key, std::string* directory, std::string* file) {
    const char* slash = strrchr(key, '/');
    if (slash == nullptr) {
        *directory = key;
        *file = key;
        return;
    }
    directory->assign(key, static_cast<size_t>(slash - key));
    *file = slash + 1;
}

// The table is left compacted and sorted at its front: later hits of a
// moved point may count into a stale copy, and later sections then list it
// more than once.
void write_point_section(FILE* stream) {
    if (stream == nullptr || !point_table_allocated()) return;
    const PointRun points = compact_and_sort_points();
    if (points.count < 1) return;
    Section section(stream, false, {Failure::point_directory, Failure::point_file, Failure::point_count});
    const char* previous = "";
    for (size_t i = 0; i < points.count; ++i) {
        const PointHitEntry& entry = points.first[i];
        const char* key = key_text(entry.key);
        if (strcmp(key, previous) != 0) {
            if (!section.headings(key)) return;
            previous = key;
        }
        if (!section.count(entry.line, static_cast<int64_t>(entry.count))) return;
    }
}

// Equal key texts from different addresses, and the same point from the host
// and from its clients, become one count line with the sum of their counts.
void write_merged_point_section(FILE* stream) {
    if (stream == nullptr) return;
    std::map<std::string, std::map<int32_t, int64_t>> grouped;
    auto add = [&grouped](const PointHitEntry& entry) {
        int64_t& total = grouped[key_text(entry.key)][entry.line];
        total = add_counts(total, static_cast<int64_t>(entry.count));
    };
    for (const PointHitEntry* entry : merged_points()) add(*entry);
    for_each_point(add);
    Section section(stream, true, {Failure::merged_directory, Failure::merged_file, Failure::merged_count});
    for (const auto& [key, lines] : grouped) {
        if (!section.headings(key.c_str())) return;
        for (const auto& [line, count] : lines) {
            if (!section.count(line, count)) return;
        }
    }
}

// The table is copied under the probes' lock and written from the copy, so
// that probes running meanwhile can neither change a map under the writer
// nor wait on the output file.
void write_line_section(FILE* stream) {
    if (stream == nullptr) return;
    std::vector<std::pair<std::string, std::vector<std::pair<int32_t, int64_t>>>> files;
    {
        platform::LockHold hold(file_line_lock);
        file_line_table().for_each([&](const FileLineTable::Entry& e) {
            files.emplace_back(e.name, std::vector<std::pair<int32_t, int64_t>>(e.lines.begin(), e.lines.end()));
        });
    }
    std::sort(files.begin(), files.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    Section section(stream, false, {Failure::line_directory, Failure::line_file, Failure::line_count});
    for (const auto& [name, lines] : files) {
        int64_t sum = 0;
        for (const auto& line : lines) sum = add_counts(sum, line.second);
        if (sum == 0) continue;
        if (!section.headings(name.c_str())) return;
        for (const auto& [line, count] : lines) {
            if (count != 0 && !section.count(line, count)) return;
        }
    }
}

// Leaves the registrations sorted by name; registration order is not kept.
void write_static_section(FILE* stream) {
    if (stream == nullptr) return;
    auto& registrations = static_registrations();
    std::stable_sort(registrations.begin(), registrations.end(),
                     [](const StaticRegistration& a, const StaticRegistration& b) { return name_less(a.name, b.name); });
    Section section(stream, true, {Failure::static_directory, Failure::static_file, Failure::static_count});
    for (const StaticRegistration& r : registrations) {
        // Tables that are not there are passed over rather than read.
        if (r.count <= 0 || r.lines == nullptr || r.counters == nullptr) continue;
        long long sum = 0;
        for (int32_t i = 0; i < r.count; ++i) sum = add_counts(sum, r.counters[i]);
        if (sum <= 0) continue;
        if (!section.headings(r.name != nullptr ? r.name : "")) return;
        for (int32_t i = 0; i < r.count; ++i) {
            if (r.counters[i] > 0 && !section.count(r.lines[i], r.counters[i])) return;
        }
    }
}

// Leaves the module names sorted; registration order is not kept.
void write_module_section(FILE* stream) {
    if (stream == nullptr) return;
    auto& names = module_names();
    std::stable_sort(names.begin(), names.end());
    Section section(stream, true, {Failure::module_directory, Failure::module_file, Failure::module_count});
    for (ModuleRecord* head : module_heads()) {
        long long total = total_hits(head);
        MergedView view = merged_view(head);
        bool written = true;
        if (total > 0) {
            written = section.headings(view.record->name);
            for (int32_t i = 0; written && i < view.record->count; ++i) {
                if (view.record->counters[i] > 0) written = section.count(view.record->lines[i], view.record->counters[i]);
            }
        }
        if (view.owned) destroy_module_record(view.record);
        if (!written) return;
    }
}

}  // namespace mirt
