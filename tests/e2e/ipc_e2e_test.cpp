// A host and its clients as real processes that load the real library: gathering, clearing,
// clients that end, die or never existed, and many clients at once.
#include <gtest/gtest.h>

#include <chrono>
#include <deque>
#include <functional>
#include <filesystem>
#include <map>
#include <thread>

#include "autodump_support.h"
#include "collection_fixture.h"
#include "test_support.h"

using namespace mirt_test;
namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace {

class IpcE2E : public CollectionTest {
protected:
    IpcE2E() {
        tag = "ipc";
        programs = {"pelvanor.exe", "clienta.exe", "clientb.exe", "clientc.exe",
                    "alive.exe",    "doomed.exe",  "worker.exe",  "client.exe"};
    }
    void SetUp() override {
        remove_file(exit_output_path());
        CollectionTest::SetUp();
    }
    void TearDown() override {
        CollectionTest::TearDown();
        remove_file(exit_output_path());
    }

    // probe_app under another executable name, its output in <name>.log; the
    // default host is "pelvanor.exe".
    Child& start(const std::string& name, const std::vector<std::string>& args) {
        return CollectionTest::start(name, args, name + ".log");
    }

    RunResult run_runtime_probe(const std::vector<std::string>& args) {
        return run_program(join(program_folder(), executable_name("runtime_probe")), args, env);
    }
};

}  // namespace

// The host's writes hold every client's counts, also those of a client that
// had already ended; a clear empties the clients; a client's final file is
// merged once and deleted; the host's own end collects every final file.
TEST_F(IpcE2E, HostGathersClearsAndCollectsAtItsEnd) {
    Child& host = start("pelvanor.exe", {"line", "host.c", "1", "touch", path("host.ready"), "waitfile", path("go1"),
                                         "write", path("out1"), "touch", path("written1"), "waitfile", path("go2"),
                                         "clear", "write", path("out2"), "touch", path("written2"), "waitfile",
                                         path("go3")});
    ASSERT_TRUE(wait_for("host.ready"));
    start("clienta.exe", {"line", "a.c", "5", "3", "touch", path("a.ready"), "waitfile", path("cleared"), "line", "a.c",
                          "6", "touch", path("a.counted"), "waitfile", path("a.stop")});
    start("clientb.exe", {"key", "b.c", "7", "reg2", "modB", "1,2", "touch", path("b.ready"), "waitfile",
                          path("cleared"), "line", "b2.c", "3", "4", "touch", path("b.counted"), "waitfile",
                          path("b.stop")});
    Child& c = start("clientc.exe", {"line", "c.c", "9", "2"});
    ASSERT_TRUE(wait_for("a.ready") && wait_for("b.ready"));
    EXPECT_EQ(wait_program(c), 0);
    ASSERT_TRUE(wait_until([&] { return data_files('Y') == 0; })) << "the ended client's final file stays";

    signal("go1");
    ASSERT_TRUE(wait_for("written1"));
    std::map<std::string, long long> everyone{{"host.c:1", 1}, {"a.c:5", 3}, {"b.c:7", 1},
                                              {"modB:1", 1},   {"modB:2", 1}, {"c.c:9", 2}};
    EXPECT_EQ(line_counts_in(read_file(path("out1"))), everyone);
    EXPECT_EQ(data_files('N'), 0);

    signal("go2");
    ASSERT_TRUE(wait_for("written2"));
    EXPECT_TRUE(line_counts_in(read_file(path("out2"))).empty()) << read_file(path("out2"));

    signal("cleared");
    ASSERT_TRUE(wait_for("a.counted") && wait_for("b.counted"));
    signal("a.stop");
    EXPECT_EQ(wait_program(children[1]), 0);
    ASSERT_TRUE(wait_until([&] { return data_files('Y') == 0; }));

    signal("go3");
    EXPECT_EQ(wait_program(host), 0);
    std::map<std::string, long long> after_clear{{"a.c:6", 1}, {"b2.c:3", 4}};
    EXPECT_EQ(line_counts_in(read_file(exit_output_path())), after_clear);
    signal("b.stop");
    EXPECT_EQ(wait_program(children[2]), 0);
}

// A killed client and a registration under a process id that belongs to
// another program are found dead at their monitors' ten-second time-out; the
// write that waited for them then holds the other client's counts exactly.
TEST_F(IpcE2E, GatherEndsWhenDeadClientsAreFound) {
    Child& host = start("pelvanor.exe", {"noexit", "touch", path("host.ready"), "waitfile", path("go"), "write",
                                         path("out"), "touch", path("written"), "waitfile", path("end")});
    ASSERT_TRUE(wait_for("host.ready"));
    auto registered_after = Clock::now();
    start("alive.exe", {"line", "a.c", "1", "2", "touch", path("alive.ready"), "waitfile", path("end")});
    Child& doomed = start("doomed.exe", {"line", "k.c", "1", "touch", path("doomed.ready"), "waitfile", path("end")});
    children.push_back(start_program(join(program_folder(), executable_name("runtime_probe")),
                                     {"selfreg", "ghost.exe", "touch", path("ghost.ready"), "waitfile", path("end")},
                                     env, path("ghost.log")));
    ASSERT_TRUE(wait_for("alive.ready") && wait_for("doomed.ready") && wait_for("ghost.ready"));
    EXPECT_EQ(read_file(path("ghost.log")).rfind("answer=", 0), 0u) << read_file(path("ghost.log"));
    kill_program(doomed);

    auto asked = Clock::now();
    signal("go");
    ASSERT_TRUE(wait_for("written"));
    double waited = std::chrono::duration<double>(Clock::now() - asked).count();
    EXPECT_LT(waited, 20.0);
    // The write waited until the ghost's monitor found it, ten seconds after its registration.
    EXPECT_GE(std::chrono::duration<double>(Clock::now() - registered_after).count(), 9.5);
    std::map<std::string, long long> alive_only{{"a.c:1", 2}};
    EXPECT_EQ(line_counts_in(read_file(path("out"))), alive_only);
    signal("end");
    EXPECT_EQ(wait_program(host), 0);
}

// Without a host a client writes its own exit file. A text that is no
// registration gets no answer and takes no client number.
TEST_F(IpcE2E, StandAloneAndFalseRegistrations) {
    Child& lone = start("worker.exe", {"line", "s.c", "1", "2"});
    EXPECT_EQ(wait_program(lone), 0);
    std::map<std::string, long long> own{{"s.c:1", 2}};
    EXPECT_EQ(line_counts_in(read_file(exit_output_path())), own);

    Child& host = start("pelvanor.exe", {"noexit", "touch", path("host.ready"), "waitfile", path("end")});
    ASSERT_TRUE(wait_for("host.ready"));
    RunResult r = run_runtime_probe({"send", "XX:foo:12", "send", "no colon", "send", "CR:x:abc", "selfreg", "probe"});
    EXPECT_EQ(lines_of(r.output), (std::vector<std::string>{"closed", "closed", "closed", "answer=1"})) << r.output;
    signal("end");
    EXPECT_EQ(wait_program(host), 0);
}

// Thirty-two clients that start at once all register and are all counted.
TEST_F(IpcE2E, ThirtyTwoClientsAtOnce) {
    Child& host = start("pelvanor.exe", {"noexit", "touch", path("host.ready"), "waitfile", path("go"), "write",
                                         path("out"), "touch", path("written"), "waitfile", path("end")});
    ASSERT_TRUE(wait_for("host.ready"));
    std::map<std::string, long long> expected;
    for (int k = 1; k <= 32; ++k) {
        std::string n = std::to_string(k);
        start("client.exe", {"line", "many.c", n, "touch", path("ready" + n), "waitfile", path("end")});
        expected["many.c:" + n] = 1;
    }
    for (int k = 1; k <= 32; ++k) ASSERT_TRUE(wait_for("ready" + std::to_string(k)));
    signal("go");
    ASSERT_TRUE(wait_for("written"));
    EXPECT_EQ(line_counts_in(read_file(path("out"))), expected);
    signal("end");
    EXPECT_EQ(wait_program(host), 0);
}
