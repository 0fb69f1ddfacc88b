// Another local user plants links, FIFOs and files where the runtime, run as
// root, keeps its files: /tmp's fixed files, trace.out, clients' data files.
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

#include "collection_fixture.h"
#include "data_file.h"
#include "process_state.h"
#include "source_lines.h"

using namespace mirt_test;

namespace {

class LocalAttacker : public CollectionTest {
protected:
    void SetUp() override {
        if (geteuid() != 0) GTEST_SKIP() << "playing another user needs root";
        if (system("id -u mirt-attacker >/dev/null 2>&1 || useradd -M mirt-attacker") != 0) GTEST_SKIP();
        tag = "attacker";
        programs = {"pelvanor.exe", "client.exe", "probe_app"};
        for (const std::string& p : fixed) remove_file(p);
        CollectionTest::SetUp();
        chmod(folder.c_str(), 0755);
        chmod(temp.c_str(), 01777);  // a shared temporary folder, as /tmp is
        write_file(path("secret"), "secret\n");
        chmod(path("secret").c_str(), 0600);
    }
    void TearDown() override {
        for (const std::string& p : fixed) remove_file(p);
        CollectionTest::TearDown();
    }
    static bool as_attacker(std::vector<std::string> command) {
        command.insert(command.begin(), {"-u", "mirt-attacker", "--"});
        return run_program("/usr/sbin/runuser", command).exit_code == 0;
    }
    const std::vector<std::string> fixed = {exit_output_path(), error_log_path(), index_file_path()};
};

template <typename T>
std::string bytes(T value) {
    return std::string(reinterpret_cast<const char*>(&value), sizeof value);
}

struct Plant {
    const char* what;  // "exit", "log", "index", "trace" (in the folder where the program runs)
                       // or "folder" (the user's private runtime folder)
    const char* kind;  // "link" (to a root-only file, or to a file yet to be made), "fifo" or "dir"
    std::vector<std::string> args;
};

}  // namespace

// Nothing is written through a planted link or made at its target, no FIFO
// holds the program, and the refusal is reported.
TEST_F(LocalAttacker, PlantedLinksAndFifosAreRefused) {
    const std::vector<Plant> plants = {
        {"exit", "link", {"line", "a.c", "1"}},
        {"log", "link", {"line", "a.c", "1", "write", full_device_path(), "noexit"}},
        {"index", "link", {"obj", "p", "1", "noexit"}},
        {"trace", "link", {"obj", "p", "1", "write", path("out"), "noexit"}},
        {"index", "fifo", {"obj", "p", "1", "noexit"}},
        {"exit", "fifo", {"line", "a.c", "1"}},
        {"folder", "dir", {"line", "a.c", "1"}},  // collection off, and said so
    };
    for (const Plant& plant : plants) {
        std::string what = plant.what;
        std::string at = what == "exit"    ? exit_output_path()
                         : what == "log"   ? error_log_path()
                         : what == "index" ? index_file_path()
                         : what == "trace" ? join(temp, "trace.out")
                                           : join(temp, "mirt-" + std::to_string(geteuid()));
        std::string target = what == "index" ? path("made") : path("secret");
        std::string kind = plant.kind;
        ASSERT_TRUE(kind == "fifo"  ? as_attacker({"mkfifo", at})
                    : kind == "dir" ? as_attacker({"mkdir", at})
                                    : as_attacker({"ln", "-s", target, at}))
            << at;

        std::vector<std::string> args = {"10", path("probe_app")};
        args.insert(args.end(), plant.args.begin(), plant.args.end());
        RunResult r = run_program("/usr/bin/timeout", args, env, temp);
        EXPECT_EQ(r.exit_code, 0) << what << " " << plant.kind << ": " << r.output;  // 124: held
        EXPECT_EQ(read_file(path("secret")), "secret\n") << what;
        EXPECT_FALSE(file_exists(path("made"))) << what;
        std::string reports = r.output + (what == "log" ? "" : read_file(error_log_path()));
        EXPECT_NE(reports.find("refused " + (what == "trace" ? "trace.out" : at)), std::string::npos) << reports;
        for (const std::string& p : fixed) remove_file(p);
        remove_file(join(temp, "trace.out"));
        remove_tree(join(temp, "mirt-" + std::to_string(geteuid())));
    }
}

// A client's data files live in its user's private folder: a FIFO that
// another user plants in the shared folder, where they once were, holds
// neither the client nor the host's gather.
TEST_F(LocalAttacker, PlantedDataFileFifoHoldsNoGather) {
    start_host();
    ASSERT_TRUE(wait_for("host.ready"));
    Child& client = start("client.exe", {"line", "client.c", "4", "touch", path("c.ready"), "waitfile", path("end")});
    ASSERT_TRUE(wait_for("c.ready"));
    std::string name = "mirt_client.exe_data_" + std::to_string(client.handle) + "_1_N";
    ASSERT_TRUE(as_attacker({"mkfifo", join(temp, name)}));
    EXPECT_FALSE(as_attacker({"mkfifo", join(data_file_folder(temp), name)}));
    signal("go");
    ASSERT_TRUE(wait_for("written", 20)) << read_file(path("host.log"));
    EXPECT_EQ(line_counts_in(read_file(path("out")))["client.c:4"], 1);
    signal("end");
}

// The host merges only data files of its own user: one with another owner
// adds nothing, the same bytes of its own user are merged.
TEST_F(LocalAttacker, ForeignDataFileIsNotMerged) {
    mirt::merge_lock.init();
    mirt::file_line_lock.init();
    // No modules, no points, one file "evil.c" with line 7 counted 99 times.
    const std::string lines = bytes<uint64_t>(0) + bytes<uint64_t>(0) + bytes<uint64_t>(1) + bytes<uint64_t>(6) +
                              "evil.c" + bytes<uint64_t>(1) + bytes<int32_t>(7) + bytes<int64_t>(99);
    uid_t foreign = getpwnam("mirt-attacker")->pw_uid;
    for (uid_t owner : {foreign, geteuid()}) {
        write_file(path("data"), lines);
        ASSERT_EQ(chown(path("data").c_str(), owner, owner), 0);
        size_t before = mirt::file_line_table().file_count();
        EXPECT_EQ(mirt::merge_data_file(path("data").c_str()), owner != foreign);
        EXPECT_EQ(mirt::file_line_table().file_count(), before + (owner != foreign ? 1 : 0)) << owner;
    }
}
