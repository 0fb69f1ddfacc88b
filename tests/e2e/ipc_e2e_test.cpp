// A host and its clients as real processes that load the real library: gathering, clearing,
// clients that end, die, answer late or never existed, clients killed at random moments of
// a gather, and a host killed while its clients run.
#include <random>

#include "collection_fixture.h"

using namespace mirt_test;

namespace {

class IpcE2E : public CollectionTest {
protected:
    IpcE2E() {
        tag = "ipc";
        programs = {"pelvanor.exe", "clienta.exe", "clientb.exe", "clientc.exe", "alive.exe", "doomed.exe"};
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

// A text that is no registration gets no answer and takes no client number.
TEST_F(IpcE2E, FalseRegistrations) {
    Child& host = start("pelvanor.exe", {"noexit", "touch", path("host.ready"), "waitfile", path("end")});
    ASSERT_TRUE(wait_for("host.ready"));
    RunResult r = run_runtime_probe({"send", "XX:foo:12", "send", "no colon", "send", "CR:x:abc", "selfreg", "probe"});
    EXPECT_EQ(lines_of(r.output), (std::vector<std::string>{"closed", "closed", "closed", "answer=1"})) << r.output;
    signal("end");
    EXPECT_EQ(wait_program(host), 0);
}

namespace {

// A registered module of n lines, 1..n: a data file of about 12 n bytes,
// large enough that a kill can land while it is being written.
std::string line_list(int n) {
    std::string list;
    for (int i = 1; i <= n; ++i) list += (i > 1 ? "," : "") + std::to_string(i);
    return list;
}

}  // namespace

// Each round, victims are killed at random moments after the host asks for
// their counts: before they answer, while they write their data files, or
// after they signalled. The write ends once the monitors find them dead (ten
// quiet seconds), holds the survivors' counts exactly, and holds each victim
// whole or not at all.
TEST_F(CollectionTest, ClientsKilledAtRandomMomentsOfAGather) {
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    constexpr int victims = 4, module_lines = 4000;  // the list fits a Windows command line
    const std::string lines = line_list(module_lines);
    for (int round = 0; round < 2; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        for (const char* name : {"host.ready", "go", "written", "end", "out", "alive.ready"}) remove_file(path(name));
        for (int v = 0; v < victims; ++v) remove_file(path("victim" + std::to_string(v) + ".ready"));
        Child& host = start_host();
        ASSERT_TRUE(wait_for("host.ready"));
        start("client.exe", {"line", "alive.c", "3", "2", "touch", path("alive.ready"), "waitfile", path("end")});
        std::vector<Child*> doomed;
        for (int v = 0; v < victims; ++v) {
            std::string name = "victim" + std::to_string(v);
            doomed.push_back(&start("victim.exe", {"reg2", name, lines, "touch", path(name + ".ready"), "waitfile",
                                                   path("end")}));
        }
        ASSERT_TRUE(wait_for("alive.ready"));
        for (int v = 0; v < victims; ++v) ASSERT_TRUE(wait_for("victim" + std::to_string(v) + ".ready"));

        auto asked = Clock::now();
        signal("go");
        std::vector<int> delays;
        for (int v = 0; v < victims; ++v) delays.push_back(static_cast<int>(random() % 16));
        std::sort(delays.begin(), delays.end());
        for (int v = 0; v < victims; ++v) {
            std::this_thread::sleep_until(asked + std::chrono::milliseconds(delays[v]));
            kill_program(*doomed[v]);
        }
        ASSERT_TRUE(wait_for("written", 40)) << read_file(path("host.log"));
        EXPECT_LT(std::chrono::duration<double>(Clock::now() - asked).count(), 25.0);

        auto counts = line_counts_in(read_file(path("out")));
        EXPECT_EQ(counts["alive.c:3"], 2);
        for (int v = 0; v < victims; ++v) {
            std::string name = "victim" + std::to_string(v);
            int present = 0;
            for (int line = 1; line <= module_lines; ++line) present += counts.count(name + ":" + std::to_string(line));
            EXPECT_TRUE(present == 0 || present == module_lines) << name << " killed after " << delays[v] << " ms: "
                                                                 << present << " lines";
            printf("%s killed after %d ms: %s\n", name.c_str(), delays[v], present != 0 ? "merged" : "not merged");
            for (int line = 1; line <= module_lines; ++line) counts.erase(name + ":" + std::to_string(line));
        }
        counts.erase("alive.c:3");
        EXPECT_TRUE(counts.empty()) << "made-up counts, first " << counts.begin()->first;
        signal("end");
        EXPECT_EQ(wait_program(host), 0);
        for (Child& c : children) wait_program(c);
        children.clear();
    }
}

// A client that answers only seconds after it was asked (stopped meanwhile)
// is waited for: the host's write holds its counts.
TEST_F(CollectionTest, SlowClientIsWaitedFor) {
    Child& host = start_host();
    ASSERT_TRUE(wait_for("host.ready"));
    Child& slow = start("client.exe", {"line", "slow.c", "5", "2", "touch", path("slow.ready"), "waitfile", path("end")});
    ASSERT_TRUE(wait_for("slow.ready"));
    suspend_program(slow, true);
    signal("go");
    std::this_thread::sleep_for(std::chrono::seconds(3));
    suspend_program(slow, false);
    ASSERT_TRUE(wait_for("written", 40)) << read_file(path("host.log"));
    EXPECT_EQ(line_counts_in(read_file(path("out"))), (std::map<std::string, long long>{{"slow.c:5", 2}}));
    signal("end");
    EXPECT_EQ(wait_program(host), 0);
    EXPECT_EQ(wait_program(slow), 0);
}

// A killed host leaves its clients running: they go on counting and end at
// once, their final counts left in a data file that nobody reads; a client
// that starts after it runs stand-alone and writes its own exit file.
TEST_F(CollectionTest, HostKilledWhileClientsRun) {
    remove_file(exit_output_path());
    Child& host = start_host();
    ASSERT_TRUE(wait_for("host.ready"));
    Child& client = start("client.exe", {"line", "c.c", "1", "touch", path("c.ready"), "waitfile", path("host.gone"),
                                         "line", "c.c", "2", "3"});
    ASSERT_TRUE(wait_for("c.ready"));
    kill_program(host);
    auto killed = Clock::now();
    signal("host.gone");
    EXPECT_EQ(wait_program(client), 0);
    EXPECT_LT(std::chrono::duration<double>(Clock::now() - killed).count(), 5.0);
    EXPECT_EQ(data_files('Y'), 1);
    EXPECT_FALSE(file_exists(exit_output_path()));

    Child& late = start("client.exe", {"line", "late.c", "4", "2"});
    EXPECT_EQ(wait_program(late), 0);
    EXPECT_EQ(line_counts_in(read_file(exit_output_path())), (std::map<std::string, long long>{{"late.c:4", 2}}));
    remove_file(exit_output_path());
}
