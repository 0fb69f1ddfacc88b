// trace_decoder.cpp: the index file's point numbers and the trace file's enter and leave records.
#include "tools/report/trace_decoder.h"

#include <cstdlib>
#include <cstring>
#include <set>
#include <utility>

namespace mirt_report {

namespace {

// The runtime reads the index with fgets into a 1,023-byte buffer.
constexpr std::size_t index_piece = 1022;

std::string describe(int32_t number, const std::vector<IndexPoint>& points, ListingStats& stats) {
    std::string text = "#" + std::to_string(number);
    if (number >= 1 && static_cast<std::size_t>(number) <= points.size()) {
        const IndexPoint& p = points[static_cast<std::size_t>(number) - 1];
        return text + " " + p.name + ":" + std::to_string(p.line);
    }
    ++stats.unknown_points;
    return text + " (not in the index)";
}

}  // namespace

std::vector<IndexPoint> read_index(std::istream& in) {
    std::vector<IndexPoint> points;
    std::set<std::pair<std::string, int32_t>> seen;
    std::streambuf* buffer = in.rdbuf();
    if (buffer == nullptr) return points;
    std::string piece;
    for (;;) {
        piece.clear();
        int c = 0;
        while (piece.size() < index_piece && (c = buffer->sbumpc()) != std::char_traits<char>::eof()) {
            piece.push_back(static_cast<char>(c));
            if (c == '\n') break;
        }
        if (piece.empty()) break;
        // As a C string: a zero byte ends the piece for the comma search and the number.
        const char* text = piece.c_str();
        const char* comma = std::strchr(text, ',');
        if (comma != nullptr) {
            IndexPoint p;
            p.name.assign(text, static_cast<std::size_t>(comma - text));
            p.line = static_cast<int32_t>(std::strtol(comma + 1, nullptr, 10));
            if (seen.emplace(p.name, p.line).second) points.push_back(std::move(p));
        }
        if (c == std::char_traits<char>::eof()) break;
    }
    return points;
}

std::vector<int32_t> decode_trace(const std::string& bytes) {
    std::vector<int32_t> records;
    records.reserve(bytes.size() / 3);
    for (std::size_t i = 0; i + 3 <= bytes.size(); i += 3) {
        uint32_t v = static_cast<unsigned char>(bytes[i]) | static_cast<uint32_t>(static_cast<unsigned char>(bytes[i + 1])) << 8 |
                     static_cast<uint32_t>(static_cast<unsigned char>(bytes[i + 2])) << 16;
        if (v & 0x800000u) v |= 0xFF000000u;  // the sign of a 24-bit value
        records.push_back(static_cast<int32_t>(v));
    }
    return records;
}

ListingStats write_trace_listing(std::ostream& out, const std::vector<int32_t>& records,
                                 const std::vector<IndexPoint>& points) {
    ListingStats stats;
    std::vector<int32_t> open;  // entered and not yet left, innermost last
    for (int32_t record : records) {
        ++stats.records;
        if (record > 0) {
            out << std::string(2 * open.size(), ' ') << "enter " << describe(record, points, stats) << '\n';
            open.push_back(record);
            continue;
        }
        if (record == 0) {
            if (!open.empty()) open.pop_back();
            out << std::string(2 * open.size(), ' ') << "leave #0 (a point without a number)\n";
            continue;
        }
        // -n for any n above 0 up to 2^23 (a 24-bit value): no overflow here.
        int32_t number = -record;
        std::size_t depth = open.size();
        while (depth > 0 && open[depth - 1] != number) --depth;
        if (depth == 0) {
            ++stats.unmatched_leaves;
            out << std::string(2 * open.size(), ' ') << "leave " << describe(number, points, stats)
                << " (never entered)\n";
            continue;
        }
        open.resize(depth - 1);
        out << std::string(2 * open.size(), ' ') << "leave " << describe(number, points, stats) << '\n';
    }
    return stats;
}

}  // namespace mirt_report
