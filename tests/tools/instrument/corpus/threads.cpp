// threads.cpp: four threads run the same loop at once, long enough to overlap.
#include <cstdio>
#include <thread>
#include <vector>

static long work(int id) {
    long s = 0;
    for (int i = 0; i < 1000000; ++i)
        s += (i ^ id) & 7;
    return s;
}

int main() {
    std::vector<std::thread> pool;
    long sums[4] = {0, 0, 0, 0};
    for (int t = 0; t < 4; ++t) pool.emplace_back([&sums, t] { sums[t] = work(t); });
    for (auto& th : pool) th.join();
    std::printf("%ld\n", sums[0] + sums[1] + sums[2] + sums[3]);
    return 0;
}
