// The host takes its clients as untrusted input: registrations that name another process
// or lead out of its folder, and connections that never speak.
#ifdef _WIN32
#include <process.h>
#define own_pid _getpid
#else
#include <unistd.h>
#define own_pid getpid
#endif

#include "collection_fixture.h"

using namespace mirt_test;

namespace {

class HostGuard : public CollectionTest {
protected:
    HostGuard() {
        tag = "guard";
        programs = {"pelvanor.exe", "client.exe"};
    }
    RunResult run_runtime_probe(const std::vector<std::string>& args) {
        return run_program(join(program_folder(), executable_name("runtime_probe")), args, env);
    }
    // A client that registers, counts g.c:1 and stays until "end"; then the
    // host's write, which must end and hold its count.
    void expect_client_counted(int seconds) {
        start("client.exe", {"line", "g.c", "1", "touch", path("c.ready"), "waitfile", path("end")});
        ASSERT_TRUE(wait_for("c.ready"));
        auto asked = Clock::now();
        signal("go");
        ASSERT_TRUE(wait_for("written", 60)) << read_file(path("host.log"));
        EXPECT_LT(std::chrono::duration<double>(Clock::now() - asked).count(), seconds);
        EXPECT_EQ(line_counts_in(read_file(path("out")))["g.c:1"], 1);
        signal("end");
    }
};

}  // namespace

// Each of these once had the host delete or make files outside its folder, or
// wait for ever on a client that could never answer (its events were never
// made, or the process named was the host itself or another that never
// registered). Now none gets an answer, and the host's next write ends.
TEST_F(HostGuard, UntrustedRegistrationsAreRefused) {
    start_host();
    ASSERT_TRUE(wait_for("host.ready"));
    const std::vector<std::vector<std::string>> refused = {
        {"selfreg", "../up.exe"},
        {"selfreg", "dir/x.exe"},
        {"selfreg", "dir\\x.exe"},
        {"selfreg", std::string(235, 'n')},  // its event names pass the file-name limit
        {"send", "CR:" + executable_name("host_guard_tests") + ":" + std::to_string(own_pid())},
    };
    for (const auto& args : refused)
        EXPECT_EQ(lines_of(run_runtime_probe(args).output), std::vector<std::string>{"closed"}) << args[1];
    expect_client_counted(5);
}

// Connections that send nothing are dropped after a time limit, more of them
// than the host serves at once included, and the host goes on accepting.
TEST_F(HostGuard, SilentConnectionsAreDropped) {
    start_host();
    ASSERT_TRUE(wait_for("host.ready"));
    children.push_back(
        start_program(join(program_folder(), executable_name("hostile_client")), {"silent", "80", path("silent")}, env));
    ASSERT_TRUE(wait_for("silent", 40));
    EXPECT_EQ(read_file(path("silent")), "open=80 dropped=80");
    expect_client_counted(5);
}
