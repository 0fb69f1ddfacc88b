// coverage_data.h: counts read from coverage output files, by test case, file and line.
#ifndef MIRT_REPORT_COVERAGE_DATA_H
#define MIRT_REPORT_COVERAGE_DATA_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace mirt_report {

// Line (or counter) number to hits. Line numbers are signed 32-bit, as the
// runtime prints them; hits are never negative.
using LineCounts = std::map<int32_t, int64_t>;

// File name, as the runtime's keys spell it, to its line counts.
using FileCounts = std::map<std::string, LineCounts>;

// Adds count to total; a sum that would pass the largest 64-bit value stays at it.
void add_count(int64_t& total, int64_t count);

// Adds every line of from into into, summing lines present in both.
void add_lines(LineCounts& into, const LineCounts& from);

// One test case: every record group with its test name, summed.
struct TestCase {
    std::string name;
    std::vector<std::string> labels;  // distinct labels, in the order met
    FileCounts files;
    LineCounts simple_counters;       // counter number to hits, no file
    std::size_t record_groups = 0;    // how many record groups were summed into it
};

// What a file or a whole test case adds up to.
struct Totals {
    std::size_t files = 0;
    std::size_t lines = 0;      // lines listed (hit or not)
    std::size_t lines_hit = 0;  // lines with at least one hit
    int64_t hits = 0;
};

Totals totals_of(const LineCounts& lines);
Totals totals_of(const FileCounts& files);

// Test cases in the order their names were first met.
class CoverageSet {
public:
    // Adds a test case's counts to the one of the same name, or makes it.
    void add(const TestCase& counts);
    const std::vector<TestCase>& tests() const { return tests_; }
    const TestCase* find(const std::string& name) const;
    // Lets f change every test case's counts (names stay as they are).
    template <typename F>
    void for_each_test(F f) {
        for (TestCase& t : tests_) f(t);
    }
    // Only the named test cases, in this set's order; names not present are skipped.
    CoverageSet only(const std::vector<std::string>& names) const;
    // Every test case summed into one (named name) for views without tests.
    TestCase combined(const std::string& name) const;

private:
    std::vector<TestCase> tests_;
    std::map<std::string, std::size_t> by_name_;
};

// Splits a runtime key at its last forward slash into directory and file
// part, as the runtime's writers do: a key without one is both parts whole.
std::pair<std::string, std::string> split_key(const std::string& key);

}  // namespace mirt_report

#endif
