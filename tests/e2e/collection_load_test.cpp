// Collection under load: fifty clients at a time register, count and end
// against one host for a minute.
#include "collection_fixture.h"

using namespace mirt_test;

// Every client counts its own line (its number) 1 to 3 times and ends; its
// final data goes to the host as it ends. After the minute, the host's output
// holds every client's counts exactly, and no data file is left over.
TEST_F(CollectionTest, FiftyClientsCyclingForAMinute) {
    constexpr int at_once = 50;
    const auto minute = std::chrono::seconds(60);
    Child& host = start_host();
    ASSERT_TRUE(wait_for("host.ready"));

    std::map<std::string, long long> expected;
    std::deque<Child> running;
    int started = 0, failed = 0;
    auto launch = [&] {
        ++started;
        long long times = 1 + started % 3;
        running.push_back(start_program(path("client.exe"),
                                        {"line", "cycle.c", std::to_string(started), std::to_string(times)}, env));
        expected["cycle.c:" + std::to_string(started)] = times;
    };
    auto begin = Clock::now();
    while (Clock::now() - begin < minute) {
        while (running.size() < at_once) launch();
        if (wait_program(running.front()) != 0) ++failed;
        running.pop_front();
    }
    for (Child& c : running)
        if (wait_program(c) != 0) ++failed;
    EXPECT_EQ(failed, 0);
    // The monitors merge each final file as its EXITING signal comes.
    EXPECT_TRUE(wait_until([&] { return data_files('Y') == 0; }, 30)) << data_files('Y') << " final files left";

    signal("go");
    ASSERT_TRUE(wait_for("written"));
    auto counts = line_counts_in(read_file(path("out")));
    EXPECT_EQ(counts.size(), expected.size()) << started << " clients";
    EXPECT_TRUE(counts == expected) << started << " clients";
    signal("end");
    EXPECT_EQ(wait_program(host), 0);
    printf("%d clients in the minute\n", started);
}
