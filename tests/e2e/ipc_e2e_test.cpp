// A host and its clients as real processes that load the real library: gathering, clearing,
// clients that end, die or never existed, a host killed while its clients run, and
// registrations and connections that break the rules.
#include "tests/e2e/collection_fixture.h"

using namespace mirt_test;
using IpcE2E = CollectionTest;

// The host's writes hold every client's counts, also those of a client that
// had already ended; a clear empties the clients; a client's final file is
// merged once and deleted; the host's own end collects every final file.
TEST_F(IpcE2E, HostGathersClearsAndCollectsAtItsEnd) {
    host = &start("pelvanor.exe",
                  {"line", "host.c", "1", "touch", path("host.ready"), "waitfile", path("go1"),
                   "write", path("out1"), "touch", path("written1"), "waitfile", path("go2"),
                   "clear", "write", path("out2"), "touch", path("written2"), "waitfile",
                   path("go3")});
    ASSERT_TRUE(wait_for("host.ready"));
    Child& a = start("client.exe", {"line", "a.c", "5", "3", "touch", path("a.ready"), "waitfile",
                                    path("cleared"), "line", "a.c", "6", "touch", path("a.counted"),
                                    "waitfile", path("a.stop")});
    Child& b =
        start("client.exe", {"key", "b.c", "7", "reg2", "modB", "1,2", "touch", path("b.ready"),
                             "waitfile", path("cleared"), "line", "b2.c", "3", "4", "touch",
                             path("b.counted"), "waitfile", path("b.stop")});
    Child& c = start("client.exe", {"line", "c.c", "9", "2"});
    ASSERT_TRUE(wait_for("a.ready") && wait_for("b.ready"));
    EXPECT_EQ(wait_program(c), 0);
    ASSERT_TRUE(no_final_files_within(60)) << "the ended client's final file stays";

    signal("go1");
    ASSERT_TRUE(wait_for("written1"));
    EXPECT_EQ(line_counts_in(read_file(path("out1"))),
              (Counts{{"host.c:1", 1}, {"a.c:5", 3}, {"b.c:7", 1}, {"modB:1", 1}, {"modB:2", 1},
                      {"c.c:9", 2}}));
    EXPECT_EQ(data_files('N'), 0);
    signal("go2");
    ASSERT_TRUE(wait_for("written2"));
    EXPECT_EQ(line_counts_in(read_file(path("out2"))), Counts{}) << read_file(path("out2"));

    signal("cleared");
    ASSERT_TRUE(wait_for("a.counted") && wait_for("b.counted"));
    signal("a.stop");
    EXPECT_EQ(wait_program(a), 0);
    ASSERT_TRUE(no_final_files_within(60));
    signal("go3");
    EXPECT_EQ(wait_program(*host), 0);
    EXPECT_EQ(line_counts_in(read_file(exit_file)), (Counts{{"a.c:6", 1}, {"b2.c:3", 4}}));
    signal("b.stop");
    EXPECT_EQ(wait_program(b), 0);
}

// A killed client and a registration under another program's process id are
// found dead at their monitors' ten-second time-out; the write that waited holds
// the other client's counts. A killed host leaves its client running (its final
// counts go to a data file nobody reads); a later client runs stand-alone.
TEST_F(IpcE2E, GatherEndsWhenDeadClientsAreFoundAndClientsOutliveTheHost) {
    ASSERT_TRUE(start_host());
    auto registered_after = Clock::now();
    Child& alive = start("client.exe", {"line", "a.c", "1", "2", "touch", path("alive.ready"),
                                        "waitfile", path("end"), "line", "a.c", "2", "3"});
    Child& doomed = start(
        "client.exe", {"line", "k.c", "1", "touch", path("doomed.ready"), "waitfile", path("end")});
    start("runtime_probe",
          {"selfreg", "ghost.exe", "touch", path("ghost.ready"), "waitfile", path("end")},
          "ghost.log");
    ASSERT_TRUE(wait_for("alive.ready") && wait_for("doomed.ready") && wait_for("ghost.ready"));
    EXPECT_EQ(read_file(path("ghost.log")).rfind("answer=", 0), 0u) << read_file(path("ghost.log"));
    kill_program(doomed);
    auto asked = Clock::now();
    ASSERT_TRUE(host_writes());
    EXPECT_LT(seconds_since(asked), 20.0);
    // The write waited until the ghost's monitor found it, ten seconds after its registration.
    EXPECT_GE(seconds_since(registered_after), 9.5);
    EXPECT_EQ(line_counts_in(read_file(path("out"))), (Counts{{"a.c:1", 2}}));

    kill_program(*host);
    auto killed = Clock::now();
    signal("end");
    EXPECT_EQ(wait_program(alive), 0);
    EXPECT_LT(seconds_since(killed), 5.0);
    EXPECT_EQ(data_files('Y'), 1);
    EXPECT_FALSE(file_exists(exit_file));
    EXPECT_EQ(wait_program(start("client.exe", {"line", "late.c", "4", "2"})), 0);
    EXPECT_EQ(line_counts_in(read_file(exit_file)), (Counts{{"late.c:4", 2}}));
}

// Registrations that would have the host touch files outside its folder or wait
// for a client that cannot answer get no answer nor a client number, and the
// next write ends at once. Silent connections are dropped after a time limit.
TEST_F(IpcE2E, RegistrationsAndConnectionsThatBreakTheRules) {
    ASSERT_TRUE(start_host());
    const std::string host_itself = "CR:pelvanor.exe:" + std::to_string(host->pid);
    auto runtime_probe = [&](const std::vector<std::string>& args) {
        return run_program(join(program_folder(), executable_name("runtime_probe")), args, env)
            .output;
    };
    std::string refused =
        runtime_probe({"send", "XX:foo:12", "send", "no colon", "send", "CR:x:abc", "selfreg",
                       "../up.exe", "selfreg", "dir/x.exe", "selfreg", "dir\\x.exe", "send",
                       host_itself, "silent", "80", path("silent")});
    EXPECT_EQ(lines_of(refused), std::vector<std::string>(7, "closed")) << refused;
    EXPECT_EQ(read_file(path("silent")), "open=80 dropped=80");

    start("client.exe", {"line", "g.c", "1", "touch", path("c.ready"), "waitfile", path("end")});
    ASSERT_TRUE(wait_for("c.ready"));
    auto asked = Clock::now();
    ASSERT_TRUE(host_writes());
    EXPECT_LT(seconds_since(asked), 5.0);
    EXPECT_EQ(line_counts_in(read_file(path("out"))), (Counts{{"g.c:1", 1}}));
    // Its event names would pass the file-name limit.
    EXPECT_EQ(lines_of(runtime_probe({"selfreg", "probe", "selfreg", std::string(235, 'n')})),
              (std::vector<std::string>{"answer=2", "closed"}))
        << "the first number went to the client";
    signal("end");
}
