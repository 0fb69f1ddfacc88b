// runtime_probe: the runtime's objects driven from the command line, started as the
// library's loading would: auto-dump with its interval in milliseconds (which the
// configuration file cannot express), the role chosen, and raw texts to the host's pipe.
//   attach | detach | role | settings | interval MS | tick | stop | fn N | noexit |
//   write PATH | waitdumps N (run the message loop until N test cases were dumped) |
//   waitclear N (run the message loop until counter N was cleared) |
//   send TEXT (prints "answer=N", "closed" or "nohost") | selfreg NAME (registers this
//   process's id under another executable's name) | touch PATH | waitfile PATH
#include <cstdio>
#include <cstdlib>
#include <string>

#include "attach.h"
#include "autodump.h"
#include "mirt64.h"
#include "pipe.h"
#include "point_table.h"
#include "process.h"
#include "process_state.h"
#include "role.h"
#include "test_support.h"

namespace {
constexpr unsigned wait_limit_ms = 20000;

uint32_t dumped_test_cases() {
    std::string bytes = mirt_test::read_file(mirt::autodump_paths.testcase_counter);
    if (bytes.size() != 4) return 0;
    uint32_t n = 0;
    for (int i = 3; i >= 0; --i) n = n << 8 | static_cast<unsigned char>(bytes[static_cast<size_t>(i)]);
    return n;
}

// The timer thread (POSIX) clears while this thread reads.
bool counter_cleared(int id) {
    const uint64_t* counts = mirt::simple_counts();
    return counts == nullptr || __atomic_load_n(&counts[id], __ATOMIC_RELAXED) == 0;
}

void send(const std::string& text) {
    using namespace mirt::platform;
    PipeHandle pipe = invalid_pipe;
    PipeOpen opened;
    while ((opened = open_host_pipe(&pipe)) == PipeOpen::busy) wait_for_host_pipe(500);
    if (opened != PipeOpen::opened) {
        printf("nohost\n");
        return;
    }
    set_message_mode(pipe);
    write_message(pipe, text.c_str(), text.size() + 1);
    char answer[4096];
    long got = read_message(pipe, answer, sizeof answer - 1);
    if (got > 0) {
        answer[got] = '\0';
        printf("answer=%s\n", answer);
    } else {
        printf("closed\n");
    }
    close_pipe(pipe);
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
                   mirt::is_shell_process() ? 1 : 0, mirt::automation_mode ? 1 : 0, mirt::roles_started,
                   mirt::get_process_data_name());
        } else if (command == "settings") {
            const mirt::AutodumpSettings& s = mirt::autodump_settings;
            printf("interval=%d size=%u switch=%d running=%d\n", s.interval, s.max_file_size, s.dump_switch,
                   s.timer_running ? 1 : 0);
        } else if (command == "interval") {
            mirt::stop_autodump();
            mirt::autodump_settings.interval = atoi(next());
            mirt::arm_autodump_timer();
        } else if (command == "tick") {
            mirt::autodump_timer_callback();
        } else if (command == "stop") {
            mirt::stop_autodump();
        } else if (command == "fn") {
            mirt_fn(atoi(next()));
        } else if (command == "noexit") {
            mirt_allow_shutdown_writing(false);
        } else if (command == "write") {
            mirt_write_coverage_data(next());
        } else if (command == "waitdumps") {
            uint32_t n = static_cast<uint32_t>(atoi(next()));
            bool done = mirt_test::pump_until([n] { return dumped_test_cases() >= n; }, wait_limit_ms);
            printf(done ? "dumped\n" : "timeout\n");
        } else if (command == "waitclear") {
            int id = atoi(next());
            bool done = mirt_test::pump_until([id] { return counter_cleared(id); }, wait_limit_ms);
            printf(done ? "cleared\n" : "timeout\n");
        } else if (command == "send") {
            send(next());
        } else if (command == "selfreg") {
            send("CR:" + std::string(next()) + ":" + std::to_string(mirt::platform::current_process_id()));
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
