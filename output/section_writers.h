// section_writers.h: the sections of a record group, one per table of counts.
#ifndef MIRT_OUTPUT_SECTION_WRITERS_H
#define MIRT_OUTPUT_SECTION_WRITERS_H

#include <cstdio>
#include <string>

namespace mirt {

// Each writer appends its section to stream and does nothing when stream is
// null. A line that cannot be written ends the section: the failure is
// printed and logged, and the driver goes on with the next section.
void write_point_section(FILE* stream);         // the point-hit table, compacted and sorted in place
void write_merged_point_section(FILE* stream);  // merged points and the table, grouped by key text
void write_line_section(FILE* stream);          // source lines
void write_static_section(FILE* stream);        // mirt_reg tables
void write_module_section(FILE* stream);        // mirt_reg2 tables with their merged views

// Splits a key at its last forward slash into directory and file parts; a
// key without one is both its own directory and its own file.
void split_key(const char* key, std::string* directory, std::string* file);

}  // namespace mirt

#endif
