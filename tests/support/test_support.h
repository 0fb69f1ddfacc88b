// test_support.h: files, folders and child processes for the tests, the same on every system.
#ifndef MIRT_TEST_SUPPORT_H
#define MIRT_TEST_SUPPORT_H

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace mirt_test {

// The folder separator of this system.
char separator();
std::string join(const std::string& folder, const std::string& name);

// Folder of the running test executable, where the test programs are built.
std::string program_folder();
// A fresh, empty folder under the system's temporary folder.
std::string make_temp_folder(const std::string& tag);
// Executable file name of a test program ("name" or "name.exe").
std::string executable_name(const std::string& name);

bool file_exists(const std::string& path);
// Waits until a file exists at path; false when it has not come within the time.
bool wait_for_file(const std::string& path, int seconds = 120);
std::string read_file(const std::string& path);        // binary, exact bytes
std::string read_text_file(const std::string& path);   // text mode: line ends as the C library reads them
void write_file(const std::string& path, const std::string& content);
void remove_file(const std::string& path);
void remove_tree(const std::string& path);

// Copies a test program into folder under a new executable name (with what
// it needs beside it to start there). Returns the new program's path.
std::string copy_program(const std::string& program, const std::string& folder, const std::string& new_name);

struct RunResult {
    int exit_code = -1;
    std::string output;  // standard output and standard error, in order
};

// An environment change: a value sets the variable, nullopt removes it.
using EnvChange = std::pair<std::string, std::optional<std::string>>;

// Runs a program to its end and collects its output.
RunResult run_program(const std::string& path, const std::vector<std::string>& args,
                      const std::vector<EnvChange>& env = {}, const std::string& working_folder = "");

// The environment that makes a program's temporary folder (and on POSIX its
// runtime folder of named pipes and events) the given one.
std::vector<EnvChange> temp_folder_env(const std::string& folder);
// Where clients' data files go under that temporary folder (on POSIX the
// user's private runtime folder in it).
std::string data_file_folder(const std::string& temp);

// A program started without waiting for it.
struct Child {
    long long handle = 0;  // process handle (Windows) or process id (POSIX)
    bool started = false;
};
// Starts a program; its standard output and error are appended to
// output_path (discarded when it is empty).
Child start_program(const std::string& path, const std::vector<std::string>& args,
                    const std::vector<EnvChange>& env = {}, const std::string& output_path = "");
// Waits for the program's end and gives its exit code (-1 when it was never started).
int wait_program(Child& child);
// Ends the program at once, as a crash would, and reaps it.
void kill_program(Child& child);
// Stops every thread of the program, as a debugger would, or lets them run on.
void suspend_program(Child& child, bool suspended);

// Lines of text, split at line feeds (a carriage return before one is dropped).
std::vector<std::string> lines_of(const std::string& text);

// The runtime's fixed files on this system.
std::string exit_output_path();
std::string index_file_path();
std::string error_log_path();
// A file that can be opened for writing but whose every write fails for want
// of space ("/dev/full"); empty where the system has none.
std::string full_device_path();

// The computer's name, read apart from the runtime's own call.
std::string computer_name();
// The environment variable that names the user's profile folder.
std::string profile_variable();
// Sets (or, with nullopt, removes) a variable of this process's environment.
void set_environment(const std::string& name, const std::optional<std::string>& value);
// Runs this thread's message loop (on Windows, where thread timers fire only
// inside it; elsewhere it only waits) until done() or timeout_ms. Returns done().
bool pump_until(const std::function<bool()>& done, unsigned timeout_ms);
inline void pump_for(unsigned ms) { pump_until([] { return false; }, ms); }
}  // namespace mirt_test

#endif
