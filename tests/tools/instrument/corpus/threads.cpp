// threads.cpp: twelve threads run the same loop at once, twice: more than the
// atomic style has tables for, and later ones that take the tables back.
#include <pthread.h>
#include <cstdio>
#include <thread>
#include <vector>

// C++11: a constexpr function is one return statement, which counts too.
constexpr int low_bits(int v) { return v & 7; }

static long work(int id) {
    long s = 0;
    for (int i = 0; i < 200000; ++i)
        s += low_bits(i ^ id);
    return s;
}

// A virtual destructor defaulted in its class counts each destruction.
struct Finish {
    virtual ~Finish() = default;
};

int main() {
    Finish finish;
    long total = 0;
    for (int round = 0; round < 2; ++round) {
        std::vector<std::thread> pool;
        long sums[12] = {0};
        pthread_barrier_t all_started;  // so that all twelve count at once
        pthread_barrier_init(&all_started, nullptr, 12);
        for (int t = 0; t < 12; ++t)
            pool.emplace_back([&sums, &all_started, t] {  // gcov: counts the lambda on its last line
                pthread_barrier_wait(&all_started);
                sums[t] = work(t);
            });
        for (auto& th : pool) th.join();
        pthread_barrier_destroy(&all_started);
        for (long s : sums) total += s;
    }
    std::printf("%ld\n", total);
    return 0;
}
