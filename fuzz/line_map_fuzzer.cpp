// line_map_fuzzer.cpp: mirt-report's readers of the build's line maps and of
// unified diffs, both on every input.
#include <sstream>

#include "tools/report/changes.h"
#include "fuzz/fuzz_support.h"
#include "tools/report/line_map.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    std::vector<mirt_report::Diagnostic> diagnostics;

    std::istringstream map_in(text);
    mirt_report::MapUnit unit;
    if (mirt_report::read_line_map(map_in, "fuzz", unit, diagnostics)) {
        mirt_report::LineMap map;
        map.add(unit);
        map.add(unit);  // a map read twice joins with itself
        for (const auto& [name, file] : map.files()) {
            MIRT_FUZZ_REQUIRE(file.lines == unit.files.at(name).lines);
            for (int32_t line : file.lines) MIRT_FUZZ_REQUIRE(line >= 1);
        }
    } else {
        MIRT_FUZZ_REQUIRE(!diagnostics.empty());
    }

    std::istringstream diff_in(text);
    mirt_report::ChangedLines changed;
    diagnostics.clear();
    bool ok = mirt_report::read_unified_diff(diff_in, "fuzz", changed, diagnostics);
    MIRT_FUZZ_REQUIRE(ok == diagnostics.empty());
    for (const auto& d : diagnostics) mirt_report::to_string(d);
    return 0;
}
