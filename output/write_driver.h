// write_driver.h: appending one record group with every count so far to a coverage file.
#ifndef MIRT_OUTPUT_WRITE_DRIVER_H
#define MIRT_OUTPUT_WRITE_DRIVER_H

namespace mirt {

// Run first by every write, before the path is even looked at: in the host,
// start-up points it at the gather of every client's counts. Null elsewhere.
extern void (*gather_before_write)();

// The write at process end: mirt_write_coverage_data, with the exit file
// opened as a file of the runtime's own (see platform/files.h).
void write_exit_output(const char* path);

}  // namespace mirt

#endif
