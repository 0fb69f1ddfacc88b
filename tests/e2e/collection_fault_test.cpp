// Collection under faults, with real processes: clients killed at random
// moments of a gather, and a host killed while its clients run.
#include <random>

#include "collection_fixture.h"

using namespace mirt_test;

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
    EXPECT_FALSE(file_exists(path("written")));
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
