// os_support.cpp (POSIX): child processes, program paths, computer name, environment and
// waiting for the tests. This file holds only POSIX code.
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <thread>

#include "test_support.h"

namespace fs = std::filesystem;

namespace mirt_test {

namespace {
// In a forked child: applies the environment changes, enters the working
// folder (when one is given) and runs the program; never returns.
[[noreturn]] void exec_child(const std::string& path, const std::vector<std::string>& args,
                             const std::vector<EnvChange>& env, const std::string& working_folder) {
    for (const auto& change : env) {
        if (change.second) setenv(change.first.c_str(), change.second->c_str(), 1);
        else unsetenv(change.first.c_str());
    }
    if (!working_folder.empty() && chdir(working_folder.c_str()) != 0) _exit(126);
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(path.c_str()));
    for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    execv(path.c_str(), argv.data());
    _exit(127);
}
}  // namespace

char separator() { return '/'; }

std::string executable_name(const std::string& name) { return name; }

std::string program_folder() {
    char path[4096];
    ssize_t n = readlink("/proc/self/exe", path, sizeof path - 1);
    if (n <= 0) return ".";
    path[n] = '\0';
    return fs::path(path).parent_path().string();
}

std::string make_temp_folder(const std::string& tag) {
    const char* base = getenv("TMPDIR");
    std::string pattern = std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/mirt-test-" + tag + "-XXXXXX";
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    if (mkdtemp(buffer.data()) == nullptr) return "";
    return buffer.data();
}

void remove_tree(const std::string& path) {
    std::error_code ignored;
    fs::remove_all(path, ignored);
}

std::string copy_program(const std::string& program, const std::string& folder, const std::string& new_name) {
    std::string target = join(folder, new_name);
    fs::copy_file(join(program_folder(), program), target, fs::copy_options::overwrite_existing);
    return target;
}

RunResult run_program(const std::string& path, const std::vector<std::string>& args, const std::vector<EnvChange>& env,
                      const std::string& working_folder) {
    RunResult result;
    int pipe_fds[2];
    if (pipe(pipe_fds) != 0) return result;
    pid_t child = fork();
    if (child == 0) {
        dup2(pipe_fds[1], 1);
        dup2(pipe_fds[1], 2);
        close(pipe_fds[0]);
        close(pipe_fds[1]);
        exec_child(path, args, env, working_folder);
    }
    close(pipe_fds[1]);
    char buffer[4096];
    ssize_t n;
    while ((n = read(pipe_fds[0], buffer, sizeof buffer)) > 0) result.output.append(buffer, static_cast<size_t>(n));
    close(pipe_fds[0]);
    int status = 0;
    waitpid(child, &status, 0);
    result.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return result;
}

}  // namespace mirt_test

namespace mirt_test {
std::string exit_output_path() { return "/tmp/mirt_exit.out"; }
std::string index_file_path() { return "/tmp/index.txt"; }
std::string error_log_path() { return "/tmp/mirt_err.txt"; }
std::string full_device_path() { return "/dev/full"; }
}  // namespace mirt_test

namespace mirt_test {

Child start_program(const std::string& path, const std::vector<std::string>& args, const std::vector<EnvChange>& env,
                    const std::string& output_path) {
    Child result;
    pid_t child = fork();
    if (child == 0) {
        int out = open(output_path.empty() ? "/dev/null" : output_path.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
        if (out >= 0) {
            dup2(out, 1);
            dup2(out, 2);
            close(out);
        }
        exec_child(path, args, env, "");
    }
    if (child > 0) {
        result.handle = child;
        result.started = true;
    }
    return result;
}

int wait_program(Child& child) {
    if (!child.started) return -1;
    int status = 0;
    waitpid(static_cast<pid_t>(child.handle), &status, 0);
    child.started = false;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void kill_program(Child& child) {
    if (!child.started) return;
    kill(static_cast<pid_t>(child.handle), SIGKILL);
    wait_program(child);
}

void suspend_program(Child& child, bool suspended) {
    if (child.started) kill(static_cast<pid_t>(child.handle), suspended ? SIGSTOP : SIGCONT);
}

}  // namespace mirt_test

namespace mirt_test {
std::vector<EnvChange> temp_folder_env(const std::string& folder) { return {{"TMPDIR", folder}}; }
std::string data_file_folder(const std::string& temp) { return join(temp, "mirt-" + std::to_string(getuid())); }
}  // namespace mirt_test

namespace mirt_test {

std::string computer_name() {
    std::string name = read_file("/proc/sys/kernel/hostname");
    while (!name.empty() && (name.back() == '\n' || name.back() == '\r')) name.pop_back();
    return name;
}

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
