// probe_app: a program that loads the real library and runs the calls named on its command line.
//   fn N | key TEXT LINE | obj NAME LINE | line FILE LINE [TIMES] | reg2 NAME LINE,LINE... |
//   name TEXT LABEL | write PATH | clear | noexit | exit CODE | touch PATH |
//   waitfile PATH (exit code 3 when it never comes) |
//   fork FILE (a forked child counts FILE:1 and ends; the parent waits for it; POSIX) |
//   exitrace (threads hit pointer-keyed and named points while the main thread calls exit())
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <string>
#include <thread>
#include <vector>

#include "mirt64.h"
#include "tests/support/test_support.h"

namespace {
[[noreturn]] void exit_while_probing() {
    static char names[8][8];
    for (int t = 0; t < 8; ++t) {
        snprintf(names[t], sizeof names[t], "r%d.c", t);
        std::thread([t] {
            for (unsigned i = 0;; ++i) {
                if (t % 2 != 0) mirt_obj point(names[t], 1 + static_cast<int>(i % 64));
                else c_mirt_fn(names[t] + i % 4, 1 + static_cast<int>(i % 64));
            }
        }).detach();
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    exit(0);
}
}  // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        std::string command = argv[i];
        auto next = [&]() -> char* { return i + 1 < argc ? argv[++i] : const_cast<char*>(""); };
        auto number = [&] { return atoi(next()); };
        if (command == "fn") {
            mirt_fn(number());
        } else if (command == "key") {
            char* key = next();
            printf("key=%d\n", c_mirt_fn(key, number()));
        } else if (command == "obj") {
            char* name = next();
            printf("obj=%d\n", mirt_obj(name, number()).index);
        } else if (command == "line") {
            char* file = next();
            int line = number();
            bool times = i + 1 < argc && argv[i + 1][0] >= '0' && argv[i + 1][0] <= '9';
            for (int t = times ? number() : 1; t > 0; --t) mirt_fn2(file, line);
        } else if (command == "reg2") {
            char* name = next();
            // The lines live as long as the process, at fixed addresses.
            static auto* kept = new std::deque<std::vector<int>>;
            auto& lines = kept->emplace_back();
            for (char* p = next(); *p != '\0'; ++p) {
                lines.push_back(static_cast<int>(strtol(p, &p, 10)));
                if (*p != ',') break;
            }
            long long* counters = mirt_reg2(name, static_cast<int>(lines.size()), lines.data());
            for (size_t k = 0; k < lines.size(); ++k) counters[k] += 1;
        } else if (command == "name") {
            char* text = next();
            c_mirt_set_test_name(text, static_cast<int>(strlen(text)), next());
        } else if (command == "write") {
            c_mirt_write_coverage_data(next());
        } else if (command == "clear") {
            c_mirt_clear_coverage_data();
        } else if (command == "noexit") {
            mirt_allow_shutdown_writing(false);
        } else if (command == "touch") {
            mirt_test::write_file(next(), "");
        } else if (command == "waitfile") {
            if (!mirt_test::wait_for_file(next())) return 3;
        } else if (command == "exit") {
            fflush(stdout);
            exit(number());
        } else if (command == "fork") {
            char* file = next();
            if (!mirt_test::run_in_forked_child([file] { mirt_fn2(file, 1); })) return 4;
        } else if (command == "exitrace") {
            exit_while_probing();
        } else {
            fprintf(stderr, "probe_app: unknown command %s\n", command.c_str());
            return 2;
        }
    }
    fflush(stdout);
    return 0;
}
