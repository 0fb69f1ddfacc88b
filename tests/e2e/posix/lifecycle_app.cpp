// lifecycle_app: a program that loads the real library and meets it at the hard moments
// of a process's life.
//   exitrace: threads hit pointer-keyed and named points while the main thread calls exit()
//   line FILE LINE | fork FILE (the child counts FILE:1 and ends; the parent waits for it) |
//   touch PATH | waitfile PATH
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "test_support.h"
#include "mirt64.h"

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
    usleep(20000);
    exit(0);
}

}  // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        std::string command = argv[i];
        char* arg = i + 1 < argc ? argv[++i] : const_cast<char*>("");
        if (command == "exitrace") {
            exit_while_probing();
        } else if (command == "line") {
            mirt_fn2(arg, i + 1 < argc ? atoi(argv[++i]) : 0);
        } else if (command == "fork") {
            pid_t child = fork();
            if (child == 0) {
                mirt_fn2(arg, 1);
                exit(0);
            }
            int status = 0;
            if (child < 0 || waitpid(child, &status, 0) != child || status != 0) return 4;
        } else if (command == "touch") {
            mirt_test::write_file(arg, "");
        } else if (command == "waitfile") {
            if (!mirt_test::wait_for_file(arg)) return 3;
        } else {
            fprintf(stderr, "lifecycle_app: unknown command %s\n", command.c_str());
            return 2;
        }
    }
    return 0;
}
