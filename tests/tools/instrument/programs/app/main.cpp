// main.cpp: a small C++ program built through mirt-cc in the tests.
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include "util.h"

int main(int argc, char** argv) {
    int limit = argc > 1 ? std::atoi(argv[1]) : 10;
    std::map<int, int> longest;
    for (int n = 1; n <= limit; ++n) {
        int steps = collatz_steps(n);
        auto it = longest.find(steps);
        if (it == longest.end()) longest[steps] = n;
    }
    for (const auto& entry : longest) std::printf("%d steps: %d\n", entry.first, entry.second);
    std::printf("file %s line %d\n", __FILE__, __LINE__);
    return static_cast<int>(longest.size() % 7);
}
