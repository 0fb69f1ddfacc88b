// subprocess.h: starting a compiler and collecting what it prints.
#ifndef MIRT_INSTRUMENT_SUBPROCESS_H
#define MIRT_INSTRUMENT_SUBPROCESS_H

#include <string>
#include <vector>

namespace mirt_instrument {

struct ProcessResult {
    int exit_code = -1;   // 127 when the program could not be started
    std::string out;      // standard output, when captured
    std::string err;      // standard error, when captured
    bool started = true;  // false: argv[0] was not found or could not be run
};

// Runs argv[0] (looked up in PATH) with the arguments and waits for it. With
// capture, both output streams are collected; without, the child shares ours.
// Standard input is the null device either way.
ProcessResult run_process(const std::vector<std::string>& argv, bool capture);

}  // namespace mirt_instrument

#endif
