// line_map.h: the line map that mirt-cc leaves beside each object file.
//
// The coverage output lists the lines that ran; the line map lists every line
// that carries a probe, so that the reports can show the lines that never ran
// and files that no test loaded. One map per translation unit, as text:
//
//   mirt-line-map 1
//   unit SOURCE                  the source as the compile command names it
//   folder DIR                   the compile's working folder
//   built NANOSECONDS            when the map was written (newest wins)
//   style table|line|function
//   file CHECKSUM NAME           a file whose lines follow, named as its probes name it
//   lines N N N ...              its counted lines, ascending, with those that count
//                                what another line counts ("same", below)
//   function FIRST LAST NAME     a function: the line its entry counts, its last line
//   branch LINE ID D O TEXT      a branch outcome: its line, its counter's number in the
//                                table "NAME#branches", its decision's place on the line,
//                                its place in the decision, what it is ("if true")
//   from ID PLUS MINUS           the outcome before it has no counter: its count is
//                                line PLUS's less line MINUS's (0: none), which
//                                count nothing else
//   same LINE FROM               a line without a counter: it counts what line FROM
//                                counts, which counts nothing else
//   sum LINE FROM PLUS           a loop's condition without a counter: it counts what
//                                lines FROM (its arrivals) and PLUS (its rounds) count
//                                together, which count nothing else
//   unprobed REASON              the file was built without probes
//   end
//
// CHECKSUM is the file's bytes' 64-bit FNV-1a, in 16 hexadecimal digits: maps
// of one file with different checksums describe different versions of it.
// Names come last on their lines; a file name holding a line break is not
// mapped (no compiler names a source that way in practice).
#ifndef MIRT_INSTRUMENT_LINE_MAP_H
#define MIRT_INSTRUMENT_LINE_MAP_H

#include <cstdint>
#include <string>
#include <vector>

#include "tools/instrument/compile_command.h"
#include "tools/instrument/probe_text.h"

namespace mirt_instrument {

struct MappedFile {
    std::string name;
    uint64_t checksum = 0;
    std::vector<int> lines;
    std::vector<FunctionLines> functions;
    std::string unprobed;  // why the file has no probes; empty when it has them
    std::vector<BranchOutcome> branches;
    std::vector<LineAlias> aliases;
};

struct LineMapUnit {
    std::string source;
    std::string folder;
    int64_t built = 0;
    ProbeStyle style = ProbeStyle::table;
    std::vector<MappedFile> files;
};

// The working folder ("." when it cannot be read) and the time now, for a map's header.
std::string current_folder();
int64_t now_ns();

uint64_t text_checksum(const std::string& bytes);

std::string line_map_text(const LineMapUnit& unit);

// Where the map of the command's n-th source goes: beside its object
// ("obj.o" -> "obj.o.mirtmap"; without -o, "name.o.mirtmap" in the working
// folder; for a compile and link in one step, "OUTPUT-name.mirtmap", as gcc
// names its notes files). With map_dir (MIRT_MAP_DIR), every map goes there
// instead, named after the whole object path with "/" as "#".
std::string line_map_path(const CompileCommand& command, size_t n, const std::string& map_dir,
                          const std::string& working_folder);

// Writes text to path through a temporary file and a rename, so that
// parallel compiles and readers never see half a map. False on failure.
bool write_line_map(const std::string& path, const std::string& text);

}  // namespace mirt_instrument

#endif
