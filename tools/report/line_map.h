// line_map.h: the build's line maps, which say what could run: every probed
// line and every function of each file, so that the reports show what never ran.
#ifndef MIRT_REPORT_LINE_MAP_H
#define MIRT_REPORT_LINE_MAP_H

#include <cstdint>
#include <istream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tools/report/coverage_data.h"
#include "tools/report/coverage_parser.h"

namespace mirt_report {

struct MappedFunction {
    std::string name;
    int32_t first_line = 0;  // its calls are this line's count
    int32_t last_line = 0;
    bool operator<(const MappedFunction& o) const {
        return first_line != o.first_line ? first_line < o.first_line : name < o.name;
    }
};

// A branch outcome: its counter's id (line * 100 + place on the line).
struct MappedBranch {
    int32_t line = 0;
    int32_t decision = 0;  // the decision's place on its line
    int32_t outcome = 0;   // the outcome's place in its decision
    std::string text;      // "if true", "switch case 3"
    // An outcome without a counter of its own: line from_line's count less
    // line less_line's (0: none). 0: counted.
    int32_t from_line = 0;
    int32_t less_line = 0;
};

// What the maps say of one file (named as its probes name it).
struct FileMap {
    std::set<int32_t> lines;
    std::set<MappedFunction> functions;
    std::map<int32_t, MappedBranch> branches;  // by id
    std::map<int32_t, int32_t> same;  // a line without a counter -> the line whose count it has
    std::map<int32_t, std::pair<int32_t, int32_t>> sums;  // a line without a counter -> two lines whose counts it adds
    std::string unprobed;   // why it was built without probes ("" when it has them)
    std::string folder;     // the working folder of a compile that named it
    uint64_t checksum = 0;  // of the version described
    int64_t built = 0;      // when the newest map of that version was written
};

// One map file as read.
struct MapUnit {
    std::string source;
    std::string folder;
    int64_t built = 0;
    std::map<std::string, FileMap> files;
};

// Reads one map; false (with a diagnostic naming name and the line) when it
// is not a whole, well-formed map. Never throws on any content.
bool read_line_map(std::istream& in, const std::string& name, MapUnit& unit, std::vector<Diagnostic>& diagnostics);

// The maps of a build, by file name. Of several maps of one file, those of
// the newest version win (the file was compiled again); maps of the same
// version are joined (a source built into two objects, a header in many).
class LineMap {
public:
    void add(const MapUnit& unit);
    const std::map<std::string, FileMap>& files() const { return files_; }
    std::map<std::string, FileMap>& files() { return files_; }
    bool empty() const { return files_.empty(); }
    const FileMap* find(const std::string& file) const;

private:
    std::map<std::string, FileMap> files_;
};

// Where branch outcome id sits: from the map when it knows it, else from the
// id itself (line * 100 + place on the line; one decision a line).
MappedBranch branch_of(const LineMap* map, const std::string& file, int32_t id);

// Reads every map that paths name: map files, and folders searched for
// "*.mirtmap" files at any depth (hidden folders skipped). A broken map is
// reported and skipped; false when a path cannot be read at all.
bool load_line_maps(const std::vector<std::string>& paths, LineMap& map, std::vector<Diagnostic>& diagnostics);

// Every test case gets the counts of the lines and branch outcomes that the
// maps give from its line counts (mirt-cc leaves out their counters); a count
// that the coverage lists itself stays. Returns "FILE:LINE" for each file
// where the coverage lists a count of a line that the maps give from
// another: objects built from it with other macros (-D) counted that line
// apart, and its count leaves out what the other objects ran.
std::vector<std::string> derive_counts(CoverageSet& set, const LineMap& map);

// Every test case gets each mapped line that it does not list, with count 0,
// and each mapped file that it never touched: what could run but did not;
// likewise each mapped branch outcome. Counted lines that no map knows stay
// as they are.
void add_unrun_lines(CoverageSet& set, const LineMap& map);

}  // namespace mirt_report

#endif
