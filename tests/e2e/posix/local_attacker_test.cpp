// Another local user plants links, FIFOs and files where the runtime, run as root, keeps
// its files: /tmp's fixed files, trace.out, clients' data files. POSIX only.
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

#include "tests/e2e/collection_fixture.h"
#include "tests/support/contains.h"
#include "ipc/data_file.h"
#include "core/process_state.h"
#include "core/source_lines.h"

using namespace mirt_test;

namespace {

class LocalAttacker : public CollectionTest {
protected:
    void SetUp() override {
        if (geteuid() != 0) GTEST_SKIP() << "playing another user needs root";
        if (system("id -u mirt-attacker >/dev/null 2>&1 || useradd -M mirt-attacker") != 0)
            GTEST_SKIP();
        remove_fixed_files();
        CollectionTest::SetUp();
        env.push_back({"MIRT_EXIT_FILE", std::nullopt});  // the fixed path is planted on
        chmod(folder.c_str(), 0755);
        chmod(temp.c_str(), 01777);  // a shared temporary folder, as /tmp is
        write_file(path("secret"), "secret\n");
        chmod(path("secret").c_str(), 0600);
    }
    void TearDown() override {
        remove_fixed_files();
        CollectionTest::TearDown();
    }
    static void remove_fixed_files() {
        for (const std::string& p : {exit_output_path(), error_log_path(), index_file_path()})
            remove_file(p);
    }
    static bool as_attacker(std::vector<std::string> command) {
        command.insert(command.begin(), {"-u", "mirt-attacker", "--"});
        return run_program("/usr/sbin/runuser", command).exit_code == 0;
    }
};

template <typename T>
std::string bytes(T value) {
    return std::string(reinterpret_cast<const char*>(&value), sizeof value);
}

}  // namespace

// Nothing is written through a planted link or made at its target, no FIFO
// holds the program, and the refusal is reported.
TEST_F(LocalAttacker, PlantedLinksAndFifosAreRefused) {
    const struct {
        std::string at;    // a fixed file, trace.out where the program runs, or the private folder
        std::string kind;  // "link" (to a root-only file or one yet to be made), "fifo" or "dir"
        std::vector<std::string> args;
    } plants[] = {
        {exit_output_path(), "link", {"line", "a.c", "1"}},
        {error_log_path(), "link", {"line", "a.c", "1", "write", full_device_path(), "noexit"}},
        {index_file_path(), "link", {"obj", "p", "1", "noexit"}},
        {join(temp, "trace.out"), "link", {"obj", "p", "1", "write", path("out"), "noexit"}},
        {index_file_path(), "fifo", {"obj", "p", "1", "noexit"}},
        {exit_output_path(), "fifo", {"line", "a.c", "1"}},
        {data_file_folder(temp), "dir", {"line", "a.c", "1"}},  // collection off, and said so
    };
    for (const auto& plant : plants) {
        SCOPED_TRACE(plant.at + " " + plant.kind);
        std::string target = plant.at == index_file_path() ? path("made") : path("secret");
        ASSERT_TRUE(plant.kind == "fifo"  ? as_attacker({"mkfifo", plant.at})
                    : plant.kind == "dir" ? as_attacker({"mkdir", plant.at})
                                          : as_attacker({"ln", "-s", target, plant.at}));
        std::vector<std::string> args = {"10", path("client.exe")};
        args.insert(args.end(), plant.args.begin(), plant.args.end());
        RunResult r = run_program("/usr/bin/timeout", args, env, temp);
        EXPECT_EQ(r.exit_code, 0) << r.output;  // 124: held
        EXPECT_EQ(read_file(path("secret")), "secret\n");
        EXPECT_FALSE(file_exists(path("made")));
        bool log = plant.at == error_log_path(), trace = plant.at == join(temp, "trace.out");
        std::string reports = r.output + (log ? "" : read_file(error_log_path()));
        EXPECT_TRUE(contains(reports, "refused " + (trace ? "trace.out" : plant.at)));
        remove_fixed_files();
        remove_file(join(temp, "trace.out"));
        remove_tree(data_file_folder(temp));
    }
}

// A client's data files live in its user's private folder: a FIFO that another user plants in
// the shared folder, where they once were, holds neither the client nor the host's gather.
TEST_F(LocalAttacker, PlantedDataFileFifoHoldsNoGather) {
    ASSERT_TRUE(start_host());
    Child& client = start(
        "client.exe", {"line", "client.c", "4", "touch", path("c.ready"), "waitfile", path("end")});
    ASSERT_TRUE(wait_for("c.ready"));
    std::string name = "mirt_client.exe_data_" + std::to_string(client.pid) + "_1_N";
    ASSERT_TRUE(as_attacker({"mkfifo", join(temp, name)}));
    EXPECT_FALSE(as_attacker({"mkfifo", join(data_file_folder(temp), name)}));
    ASSERT_TRUE(host_writes(20));
    EXPECT_EQ(line_counts_in(read_file(path("out")))["client.c:4"], 1);
    signal("end");
}

// The host merges only data files of its own user: one with another owner
// adds nothing, the same bytes of its own user are merged. (No modules, no
// points, one file "evil.c" with line 7 counted 99 times.)
TEST_F(LocalAttacker, ForeignDataFileIsNotMerged) {
    mirt::merge_lock.init();
    mirt::file_line_lock.init();
    const std::string lines = bytes<uint64_t>(0) + bytes<uint64_t>(0) + bytes<uint64_t>(1) +
                              bytes<uint64_t>(6) + "evil.c" + bytes<uint64_t>(1) +
                              bytes<int32_t>(7) + bytes<int64_t>(99);
    uid_t foreign = getpwnam("mirt-attacker")->pw_uid;
    for (uid_t owner : {foreign, geteuid()}) {
        write_file(path("data"), lines);
        ASSERT_EQ(chown(path("data").c_str(), owner, owner), 0);
        size_t before = mirt::file_line_table().file_count();
        EXPECT_EQ(mirt::merge_data_file(path("data").c_str()), owner != foreign);
        EXPECT_EQ(mirt::file_line_table().file_count(), before + (owner != foreign ? 1 : 0))
            << owner;
    }
}
