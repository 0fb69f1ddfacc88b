// runtime_probe: the runtime's objects driven from the command line, started as the
// library's loading would: auto-dump with its interval in milliseconds (which the
// configuration file cannot express), the role chosen, and raw texts to the host's pipe.
//   attach | detach | role | interval MS | fn N |
//   waitdumps N (runs the message loop until N test cases were dumped) |
//   send TEXT (prints "answer=N", "closed" or "nohost") | selfreg NAME (registers this
//   process's id under another executable's name) | touch PATH | waitfile PATH |
//   silent N PATH (opens up to N connections to the host's pipe and sends nothing; once
//   the host has closed them, writes "open=M dropped=K" to PATH)
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "startup/attach.h"
#include "autodump/autodump.h"
#include "mirt64.h"
#include "platform/pipe.h"
#include "platform/process.h"
#include "core/process_state.h"
#include "startup/role.h"
#include "tests/support/test_support.h"

using namespace mirt::platform;

namespace {
uint32_t dumped_test_cases() {
    std::string bytes = mirt_test::read_file(mirt::autodump_paths.testcase_counter);
    uint32_t n = 0;
    for (size_t i = bytes.size() == 4 ? 4 : 0; i-- > 0;)
        n = n << 8 | static_cast<uint8_t>(bytes[i]);
    return n;
}

// A connection to the host. A host that has just started may not listen yet,
// and under Windows each connection waits for the host to make an instance.
PipeHandle connect() {
    PipeHandle pipe = invalid_pipe;
    PipeOpen opened = open_host_pipe(&pipe);
    for (int wait = 0; opened != PipeOpen::opened && wait < 60; ++wait) {
        wait_for_host_pipe(500);
        opened = open_host_pipe(&pipe);
    }
    return opened == PipeOpen::opened ? pipe : invalid_pipe;
}

void send(const std::string& text) {
    PipeHandle pipe = connect();
    if (pipe == invalid_pipe) {
        printf("nohost\n");
        return;
    }
    set_message_mode(pipe);
    write_message(pipe, text.c_str(), text.size() + 1);
    char answer[4096];
    long got = read_message(pipe, answer, sizeof answer - 1);
    if (got > 0) printf("answer=%.*s\n", static_cast<int>(got), answer);
    else printf("closed\n");
    close_pipe(pipe);
}

void silent(int connections, const char* report_path) {
    std::vector<PipeHandle> open;
    for (int i = 0; i < connections; ++i) {
        if (PipeHandle pipe = connect(); pipe != invalid_pipe) open.push_back(pipe);
    }
    int dropped = 0;
    for (PipeHandle pipe : open) {
        char byte;
        if (read_message(pipe, &byte, 1) <= 0) ++dropped;
        close_pipe(pipe);
    }
    std::string report =
        "open=" + std::to_string(open.size()) + " dropped=" + std::to_string(dropped);
    mirt_test::write_file(report_path, report);
}
}  // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        std::string command = argv[i];
        auto next = [&]() -> char* { return i + 1 < argc ? argv[++i] : const_cast<char*>(""); };
        if (command == "attach") {
            mirt::run_static_initialisers();
            mirt::process_attach();
        } else if (command == "detach") {
            mirt::process_detach();
        } else if (command == "role") {
            printf("host=%d shell=%d automation=%d roles_started=%d data_name=%s\n", mirt::is_host,
                   mirt::is_shell_process() ? 1 : 0, mirt::automation_mode ? 1 : 0,
                   mirt::roles_started, mirt::get_process_data_name());
        } else if (command == "interval") {
            mirt::stop_autodump();
            mirt::autodump_settings.interval = atoi(next());
            mirt::arm_autodump_timer();
        } else if (command == "fn") {
            mirt_fn(atoi(next()));
        } else if (command == "waitdumps") {
            uint32_t n = static_cast<uint32_t>(atoi(next()));
            bool done = mirt_test::pump_until([n] { return dumped_test_cases() >= n; }, 20000);
            printf(done ? "dumped\n" : "timeout\n");
        } else if (command == "send") {
            send(next());
        } else if (command == "selfreg") {
            send("CR:" + std::string(next()) + ":" + std::to_string(current_process_id()));
        } else if (command == "silent") {
            int connections = atoi(next());
            silent(connections, next());
        } else if (command == "touch") {
            mirt_test::write_file(next(), "");
        } else if (command == "waitfile") {
            if (!mirt_test::wait_for_file(next())) return 3;
        } else {
            fprintf(stderr, "runtime_probe: unknown command %s\n", command.c_str());
            return 2;
        }
        fflush(stdout);
    }
    return 0;
}
