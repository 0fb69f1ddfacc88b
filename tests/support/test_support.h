// test_support.h: files, folders and child processes for the tests, the same on every system.
#ifndef MIRT_TEST_SUPPORT_H
#define MIRT_TEST_SUPPORT_H

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace mirt_test {

std::string join(const std::string& folder, const std::string& name);
// Folder of the running executable, where the test programs are built.
std::string program_folder();
// A fresh, empty folder under the system's temporary folder.
std::string make_temp_folder(const std::string& tag);
std::string executable_name(const std::string& name);  // "name" or "name.exe"

bool file_exists(const std::string& path);
bool wait_for_file(const std::string& path, int seconds = 120);  // pumps; false when it never came
std::string read_file(const std::string& path);  // the exact bytes
void write_file(const std::string& path, const std::string& content);
void remove_file(const std::string& path);
void remove_tree(const std::string& path);
// Lines of text, split at line feeds (a carriage return before one is dropped).
std::vector<std::string> lines_of(const std::string& text);
// The positive counts of a coverage file, "file:line" -> count, summed over
// its record groups. Numbered counters come under the file before them ("#"
// when there is none): they have no heading.
using Counts = std::map<std::string, long long>;
Counts line_counts_in(const std::string& text);
// What an auto-dump counter file holds for n: four bytes, little-endian.
inline std::string counter_bytes(unsigned n) { return {char(n), char(n >> 8), char(n >> 16), char(n >> 24)}; }

// Copies a test program into folder under a new executable name, with what it
// needs beside it to start there. Returns the new program's path.
std::string copy_program(const std::string& program, const std::string& folder,
                         const std::string& new_name);

// A program started without waiting for it; its standard output and error
// are appended to output_path (discarded when that is empty).
struct Child {
    long long handle = 0;  // process handle (Windows) or process id (POSIX)
    bool started = false;
    unsigned long pid = 0;  // its process id
};
// An environment change: a value sets the variable, nullopt removes it.
using EnvChange = std::pair<std::string, std::optional<std::string>>;
Child start_program(const std::string& path, const std::vector<std::string>& args,
                    const std::vector<EnvChange>& env = {}, const std::string& output_path = "",
                    const std::string& working_folder = "");
int wait_program(Child& child);   // its exit code, -1 when it was never started
void kill_program(Child& child);  // at once, as a crash would, and reaped
// The system's part of those: waits for a started process and gives its exit code; ends one.
int reap_process(long long handle);
void end_process(long long handle);

// Runs a program to its end.
struct RunResult {
    int exit_code = -1;
    std::string output;  // standard output and standard error, in order
};
RunResult run_program(const std::string& path, const std::vector<std::string>& args,
                      const std::vector<EnvChange>& env = {},
                      const std::string& working_folder = "");
// Runs body in a forked child and waits for it; false where there is no fork
// or the child failed.
bool run_in_forked_child(const std::function<void()>& body);

// The environment that makes a program's temporary folder (and on POSIX its
// runtime folder of named pipes and events) the given one, and where clients'
// data files then go.
std::vector<EnvChange> temp_folder_env(const std::string& folder);
std::string data_file_folder(const std::string& temp);

// The runtime's fixed files on this system.
std::string exit_output_path();
std::string index_file_path();
std::string error_log_path();
// A file whose every write fails for want of space; empty where there is none.
std::string full_device_path();

std::string computer_name();     // read apart from the runtime's own call
std::string profile_variable();  // the variable that names the user's profile folder
void set_environment(const std::string& name, const std::optional<std::string>& value);
// Runs this thread's message loop (Windows thread timers fire only inside it;
// elsewhere it only waits) until done() or timeout_ms. Returns done().
bool pump_until(const std::function<bool()>& done, unsigned timeout_ms);
inline void pump_for(unsigned ms) { pump_until([] { return false; }, ms); }
}  // namespace mirt_test

#endif
