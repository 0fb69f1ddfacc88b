// Collection under load: fifty clients at a time register, count and end against one host
// for a minute.
#include "tests/e2e/collection_fixture.h"

using namespace mirt_test;

// Every client counts its own line (its number) 1 to 3 times and ends; its
// final data goes to the host as it ends (the monitors merge each final file
// as its EXITING signal comes). After the minute, the host's output holds
// every client's counts exactly, and no data file is left over.
TEST_F(CollectionTest, FiftyClientsCyclingForAMinute) {
    ASSERT_TRUE(start_host());
    Counts expected;
    std::deque<Child> running;
    int started = 0, failed = 0;
    for (auto begin = Clock::now(); Clock::now() - begin < std::chrono::seconds(60);) {
        while (running.size() < 50) {
            std::string line = std::to_string(++started), times = std::to_string(1 + started % 3);
            running.push_back(
                start_program(path("client.exe"), {"line", "cycle.c", line, times}, env));
            expected["cycle.c:" + line] = 1 + started % 3;
        }
        failed += wait_program(running.front()) != 0;
        running.pop_front();
    }
    for (Child& c : running) failed += wait_program(c) != 0;
    EXPECT_EQ(failed, 0);
    EXPECT_TRUE(no_final_files_within(30)) << data_files('Y') << " final files left";

    ASSERT_TRUE(host_writes());
    auto counts = line_counts_in(read_file(path("out")));
    EXPECT_EQ(counts.size(), expected.size()) << started << " clients";
    EXPECT_TRUE(counts == expected) << started << " clients";
    signal("end");
    EXPECT_EQ(wait_program(*host), 0);
    printf("%d clients in the minute\n", started);
}
