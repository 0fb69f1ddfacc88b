// trace_decoder.h: the index file's point numbers and the trace file's enter and leave records.
#ifndef MIRT_REPORT_TRACE_DECODER_H
#define MIRT_REPORT_TRACE_DECODER_H

#include <cstddef>
#include <cstdint>
#include <istream>
#include <ostream>
#include <string>
#include <vector>

namespace mirt_report {

struct IndexPoint {
    std::string name;
    int32_t line = 0;
};

// The named points of an index file, numbered as the runtime numbers them:
// point n is element n - 1. The file is read as the runtime reads it back: in
// pieces of at most 1,022 bytes up to a line feed, each piece naming a point
// by the text before its first comma and the number after it; a piece without
// a comma names none, and a repeated (name, line) keeps its first number.
std::vector<IndexPoint> read_index(std::istream& in);

// Trace records: each the low three bytes, little-endian, of a signed 32-bit
// value, +n for entering point n, -n for leaving it.
std::vector<int32_t> decode_trace(const std::string& bytes);

struct ListingStats {
    std::size_t records = 0;
    std::size_t unknown_points = 0;    // records naming a number that the index lacks
    std::size_t unmatched_leaves = 0;  // leaves of points not entered
};

// One line per record, indented by the depth of the points entered and not
// yet left: "enter #n name:line" and "leave #n name:line". A leave ends the
// innermost open entry of its point (entries opened inside it and never left
// are closed with it); a leave with no open entry of its point is listed at
// the current depth and marked. Record 0 is the leave of a point whose
// number could not be given: it ends the innermost open entry.
ListingStats write_trace_listing(std::ostream& out, const std::vector<int32_t>& records,
                                 const std::vector<IndexPoint>& points);

}  // namespace mirt_report

#endif
