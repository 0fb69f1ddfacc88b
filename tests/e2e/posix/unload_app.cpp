// unload_app LIBRARY FILE READY_PATH END_PATH: loads the library with dlopen (it is not
// linked to it), counts FILE:1, unloads it, wakes every other thread of the process with a
// signal (as a profiler's or a child's would), creates READY_PATH, then ends when END_PATH
// appears.
#include <dirent.h>
#include <dlfcn.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "tests/support/test_support.h"

int main(int argc, char** argv) {
    if (argc != 5) return 2;
    void* library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    auto count_line =
        library ? reinterpret_cast<int (*)(char*, int)>(dlsym(library, "c_mirt_fn2")) : nullptr;
    if (count_line == nullptr) {
        fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    count_line(argv[2], 1);
    if (dlclose(library) != 0) return 1;
    // A thread left waiting in the unloaded code returns into it when a
    // signal interrupts its wait.
    signal(SIGUSR1, [](int) {});
    if (DIR* tasks = opendir("/proc/self/task")) {
        while (dirent* task = readdir(tasks)) {
            long tid = atol(task->d_name);
            if (tid > 0 && tid != syscall(SYS_gettid)) syscall(SYS_tgkill, getpid(), tid, SIGUSR1);
        }
        closedir(tasks);
    }
    usleep(100000);
    mirt_test::write_file(argv[3], "");
    return mirt_test::wait_for_file(argv[4]) ? 0 : 3;
}
