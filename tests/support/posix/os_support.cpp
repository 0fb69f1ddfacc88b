// os_support.cpp (POSIX): child processes, program paths, the computer's name, the
// environment and waiting, for the tests. This file holds only POSIX code.
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "tests/support/test_support.h"

namespace mirt_test {

namespace {
// Forks a child with standard output and error on out (closed in the child)
// that applies the environment changes, enters the working folder and runs
// the program.
pid_t spawn(const std::string& path, const std::vector<std::string>& args,
            const std::vector<EnvChange>& env, const std::string& working_folder, int out) {
    pid_t child = fork();
    if (child != 0) return child;
    dup2(out, 1);
    dup2(out, 2);
    close(out);
    for (const auto& [name, value] : env) set_environment(name, value);
    if (!working_folder.empty() && chdir(working_folder.c_str()) != 0) _exit(126);
    std::vector<char*> argv{const_cast<char*>(path.c_str())};
    for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    execv(path.c_str(), argv.data());
    _exit(127);
}
}  // namespace

int reap_process(long long child) {
    int status = 0;
    waitpid(static_cast<pid_t>(child), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}
void end_process(long long child) { kill(static_cast<pid_t>(child), SIGKILL); }

std::string executable_name(const std::string& name) { return name; }

std::string program_folder() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path().string();
}

Child start_program(const std::string& path, const std::vector<std::string>& args,
                    const std::vector<EnvChange>& env, const std::string& output_path,
                    const std::string& working_folder) {
    int out = open(output_path.empty() ? "/dev/null" : output_path.c_str(),
                   O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    pid_t child = spawn(path, args, env, working_folder, out);
    close(out);
    return {child, child > 0, static_cast<unsigned long>(child)};
}

bool run_in_forked_child(const std::function<void()>& body) {
    pid_t child = fork();
    if (child == 0) {
        body();
        exit(0);
    }
    return child > 0 && reap_process(child) == 0;
}

std::vector<EnvChange> temp_folder_env(const std::string& folder) { return {{"TMPDIR", folder}}; }
std::string data_file_folder(const std::string& temp) {
    return join(temp, "mirt-" + std::to_string(getuid()));
}

std::string exit_output_path() { return "/tmp/mirt_exit.out"; }
std::string index_file_path() { return "/tmp/index.txt"; }
std::string error_log_path() { return "/tmp/mirt_err.txt"; }
std::string full_device_path() { return "/dev/full"; }

std::string computer_name() { return lines_of(read_file("/proc/sys/kernel/hostname")).at(0); }
std::string profile_variable() { return "HOME"; }

void set_environment(const std::string& name, const std::optional<std::string>& value) {
    if (value) setenv(name.c_str(), value->c_str(), 1);
    else unsetenv(name.c_str());
}

bool pump_until(const std::function<bool()>& done, unsigned timeout_ms) {
    auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
    while (!done()) {
        if (std::chrono::steady_clock::now() >= end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

}  // namespace mirt_test
