// autodump.h: in the host, numbered coverage files written at a fixed interval into a
// per-user folder, with the counts cleared at every tick.
#ifndef MIRT_AUTODUMP_AUTODUMP_H
#define MIRT_AUTODUMP_AUTODUMP_H

#include <cstddef>
#include <cstdint>

#include "platform/timer.h"

namespace mirt {

inline constexpr int32_t initial_autodump_interval = 300000;      // five minutes, in milliseconds
inline constexpr uint32_t initial_autodump_file_size = 2465792;   // deliberately not whole mebibytes
inline constexpr int32_t initial_autodump_switch = 1;

// What the configuration file sets, and the timer. The file holds minutes
// and mebibytes; memory holds milliseconds and bytes.
struct AutodumpSettings {
    int32_t interval = initial_autodump_interval;        // "TIMEINTERVAL"
    uint32_t max_file_size = initial_autodump_file_size;  // "MAXFILESIZE"
    int32_t dump_switch = initial_autodump_switch;        // "AUTODUMP": 0 is off
    bool timer_running = false;
    platform::TimerId timer_id = 0;
};
extern AutodumpSettings autodump_settings;

inline constexpr size_t autodump_path_size = 256;  // each path at most 255 characters

// Computed once, at start.
struct AutodumpPaths {
    char profile[autodump_path_size];           // the user's profile folder
    char coverage[autodump_path_size];          // <profile>/coverage
    char long_version[autodump_path_size];      // major.minor.build.revision, or "UNKNOWN"
    char short_version[autodump_path_size];     // major.revision, or "UNKNOWN"
    char datafiles[autodump_path_size];         // <coverage>/datafiles/<long version>
    char testcase_counter[autodump_path_size];  // number of the next test case
    char outfile_counter[autodump_path_size];   // number of the next output file to begin
    char config[autodump_path_size];            // "mirt_autodump_config.ini"
};
extern AutodumpPaths autodump_paths;

// Called from attach in the host when "CodeCoverageAutomation" is not set:
// computes the paths, creates the coverage folder, loads (or first writes)
// the configuration and arms the timer, which runs whether or not dumping
// is switched on. A path that would not fit its 255 characters leaves
// auto-dump not started: no folder, no file, no timer.
void start_autodump();
// Called as detach begins: no tick may start or still be running while
// detach writes and releases the tables.
void hold_autodump();
// Called last in detach: disarms the timer if it runs.
void stop_autodump();

// The steps of start, one by one. False when a path does not fit.
bool compute_autodump_paths();
void load_autodump_configuration();
// Arms the timer at the interval in memory; on success creates the
// datafiles folder. Stop it first to arm it again at another interval.
void arm_autodump_timer();

// Every interval: one dump when the switch is on, then a clear in any case.
void autodump_timer_callback();
// One numbered record group: names the test case "<computer>_<n>", picks the
// output file and appends to it.
void perform_dump();

}  // namespace mirt

#endif
