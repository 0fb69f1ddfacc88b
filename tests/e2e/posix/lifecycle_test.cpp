// The library at the hard moments of a process's life, with real processes: exit() while
// other threads count, unloading, fork, a full temporary folder. POSIX only.
#include <sched.h>
#include <sys/mount.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cstdlib>

#include "tests/e2e/collection_fixture.h"

using namespace mirt_test;
using Lifecycle = CollectionTest;

// exit() runs the library's detach while eight threads still hit pointer-keyed
// and named points: nothing they read may be freed under them (before, about
// one run in three crashed).
TEST_F(Lifecycle, ExitWhileOtherThreadsProbe) {
    for (int run = 0; run < 30; ++run) {
        RunResult r = run_program(path("client.exe"), {"exitrace"}, env, folder);
        ASSERT_EQ(r.exit_code, 0) << "run " << run << ": " << r.output;
    }
    remove_file(index_file_path());
}

// A forked child counts from zero, takes no part in its parent's collection and writes its own
// exit output. A client that unloads the library runs on: its counts reached the host at the
// unload, and the host's later writes reach nothing of it (its threads were stopped).
TEST_F(Lifecycle, ClientsThatForkOrUnloadTheLibrary) {
    std::vector<std::string> run = {"line", "p.c", "1", "fork", "c.c", "line", "p.c", "2"};
    EXPECT_EQ(run_program(path("client.exe"), run, env, folder).exit_code, 0);
    EXPECT_EQ(line_counts_in(read_file(exit_file)),
              (Counts{{"p.c:1", 1}, {"c.c:1", 1}, {"p.c:2", 1}}));
    remove_file(exit_file);
    ASSERT_TRUE(start_host());
    run.insert(run.end(), {"touch", path("p.done"), "waitfile", path("end")});
    // LeakSanitizer (Clang 14) hangs in the exit of a child forked from a process with
    // other threads, before anything of the runtime's runs: no leak check there.
    const char* sanitizer = getenv("ASAN_OPTIONS");
    env.push_back({"ASAN_OPTIONS", std::string(sanitizer ? sanitizer : "") + ":detect_leaks=0"});
    start("client.exe", run);
    Child& unloading = start("unload_app", {MIRT_LIBRARY, "u.c", path("unloaded"), path("end")});
    ASSERT_TRUE(wait_for("p.done") && wait_for("unloaded"));
    ASSERT_TRUE(host_writes(30));
    EXPECT_EQ(line_counts_in(read_file(path("out"))),
              (Counts{{"p.c:1", 1}, {"p.c:2", 1}, {"u.c:1", 1}}));
    EXPECT_EQ(line_counts_in(read_file(exit_file)), (Counts{{"c.c:1", 1}}));
    signal("end");
    EXPECT_EQ(wait_program(unloading), 0);
}

// The clients' folder on a private tmpfs, full but for 16 KiB: a client's
// 48 KiB data file cannot be written whole. The client removes it, both say so
// in the error log, and the host's output holds the module whole or not at all.
TEST_F(Lifecycle, FullTemporaryFolder) {
    if (geteuid() != 0 || unshare(CLONE_NEWNS) != 0 ||
        mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("tmpfs", temp.c_str(), "tmpfs", 0, "size=256k") != 0)
        GTEST_SKIP() << "a file system of its own needs root";
    struct Unmount {
        std::string at;
        ~Unmount() { umount2(at.c_str(), MNT_DETACH); }
    } unmount{temp};
    remove_file(error_log_path());
    std::string lines = "1";
    for (int i = 2; i <= 4000; ++i) lines += "," + std::to_string(i);
    ASSERT_TRUE(start_host());
    start("client.exe", {"reg2", "big", lines, "touch", path("c.ready"), "waitfile", path("end")});
    ASSERT_TRUE(wait_for("c.ready"));
    struct statvfs space;
    ASSERT_EQ(statvfs(temp.c_str(), &space), 0);
    write_file(join(temp, "filler"), std::string(space.f_bavail * space.f_frsize - 16384, 'f'));

    ASSERT_TRUE(host_writes(30));
    for (const auto& [key, count] : line_counts_in(read_file(path("out"))))
        EXPECT_NE(key.rfind("big:", 0), 0u) << key;
    std::string log = read_file(error_log_path());
    EXPECT_NE(log.find("can't write data file " + data_file_folder(temp)), std::string::npos)
        << log;
    EXPECT_NE(log.find("no data file " + data_file_folder(temp)), std::string::npos) << log;
    signal("end");
    remove_file(error_log_path());
}
