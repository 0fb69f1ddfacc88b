// coverage_parser_fuzzer.cpp: mirt-report's reader of coverage output files.
#include <algorithm>
#include <sstream>

#include "tools/report/coverage_parser.h"
#include "tools/report/coverage_writer.h"
#include "fuzz/fuzz_support.h"

namespace {

// Reads text into a set of test cases; false when the strict reader stopped.
bool read_set(const std::string& text, bool lenient, mirt_report::CoverageSet& set) {
    std::istringstream in(text);
    std::vector<mirt_report::Diagnostic> diagnostics;
    mirt_report::ParseOptions options;
    options.lenient = lenient;
    bool ok = mirt_report::parse_coverage(
        in, "fuzz", options, [&](mirt_report::TestCase&& group) { set.add(group); }, diagnostics);
    for (const auto& d : diagnostics) mirt_report::to_string(d);
    return ok;
}

std::string written(const mirt_report::CoverageSet& set) {
    std::ostringstream out;
    mirt_report::write_coverage(out, set);
    return out.str();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    mirt_report::CoverageSet strict_set;
    read_set(text, false, strict_set);

    // Whatever the lenient reader made of the input, the writer's output reads
    // back strictly and writes out the same again. Carriage returns are left
    // out of this part: the reader takes one before a line feed for the line
    // end of a file written on Windows, so a name that ends in one does not
    // come back whole (by design).
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    mirt_report::CoverageSet first;
    MIRT_FUZZ_REQUIRE(read_set(text, true, first));
    std::string once = written(first);
    mirt_report::CoverageSet second;
    MIRT_FUZZ_REQUIRE(read_set(once, false, second));
    MIRT_FUZZ_REQUIRE(written(second) == once);
    return 0;
}
