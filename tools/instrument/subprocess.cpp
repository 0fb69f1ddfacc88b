// subprocess.cpp: POSIX child processes with pipes for their output.
#include "tools/instrument/subprocess.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

extern char** environ;

namespace mirt_instrument {

ProcessResult run_process(const std::vector<std::string>& argv, bool capture) {
    ProcessResult result;
    if (argv.empty()) return result;
    std::vector<char*> args;
    for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);

    int out_pipe[2] = {-1, -1};
    int err_pipe[2] = {-1, -1};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    if (capture) {
        if (pipe2(out_pipe, O_CLOEXEC) != 0 || pipe2(err_pipe, O_CLOEXEC) != 0) {
            posix_spawn_file_actions_destroy(&actions);
            return result;
        }
        posix_spawn_file_actions_adddup2(&actions, out_pipe[1], 1);
        posix_spawn_file_actions_adddup2(&actions, err_pipe[1], 2);
    }
    pid_t pid = -1;
    int rc = posix_spawnp(&pid, args[0], &actions, nullptr, args.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (capture) {
        close(out_pipe[1]);
        close(err_pipe[1]);
    }
    if (rc != 0) {
        if (capture) {
            close(out_pipe[0]);
            close(err_pipe[0]);
        }
        result.exit_code = 127;
        result.started = false;
        result.err = "cannot start " + argv[0];
        return result;
    }
    if (capture) {
        // Both pipes are drained together, so that neither fills up and stalls the child.
        pollfd fds[2] = {{out_pipe[0], POLLIN, 0}, {err_pipe[0], POLLIN, 0}};
        std::string* sinks[2] = {&result.out, &result.err};
        int open_count = 2;
        char buffer[65536];
        while (open_count > 0) {
            if (poll(fds, 2, -1) < 0) {
                if (errno == EINTR) continue;
                break;
            }
            for (int i = 0; i < 2; ++i) {
                if (fds[i].fd < 0 || !(fds[i].revents & (POLLIN | POLLHUP | POLLERR))) continue;
                ssize_t n = read(fds[i].fd, buffer, sizeof buffer);
                if (n > 0) {
                    sinks[i]->append(buffer, static_cast<size_t>(n));
                } else if (n == 0 || errno != EINTR) {
                    close(fds[i].fd);
                    fds[i].fd = -1;
                    --open_count;
                }
            }
        }
        for (pollfd& f : fds)
            if (f.fd >= 0) close(f.fd);
    }
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFEXITED(status)) result.exit_code = WEXITSTATUS(status);
    else if (WIFSIGNALED(status)) result.exit_code = 128 + WTERMSIG(status);
    return result;
}

}  // namespace mirt_instrument
