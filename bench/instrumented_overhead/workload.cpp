// workload.cpp: branchy, loop-heavy code whose instrumented builds are timed.
// Built three times under three names (WORKLOAD_NAME): plain, with gcc's
// --coverage, and through mirt-cc in the table style.
#include <cstdint>
#include <string>
#include <vector>

namespace {

// A tiny stack machine: many short statements and a switch per step.
long run_program(const std::vector<int>& code, int input) {
    long stack[64];
    int sp = 0;
    long acc = input;
    for (size_t pc = 0; pc < code.size(); ++pc) {
        switch (code[pc]) {
        case 0:
            stack[sp++ & 63] = acc;
            break;
        case 1:
            acc += sp > 0 ? stack[--sp & 63] : 1;
            break;
        case 2:
            acc *= 3;
            break;
        case 3:
            if (acc % 2 == 0)
                acc /= 2;
            else
                acc = acc * 3 + 1;
            break;
        default:
            acc ^= code[pc];
        }
    }
    return acc;
}

int collatz(std::uint64_t n) {
    int steps = 0;
    while (n != 1) {
        n = (n % 2 == 0) ? n / 2 : 3 * n + 1;
        ++steps;
    }
    return steps;
}

int words(const std::string& text) {
    int count = 0;
    bool in_word = false;
    for (char c : text) {
        if (c == ' ' || c == ',') {
            in_word = false;
        } else if (!in_word) {
            in_word = true;
            ++count;
        }
    }
    return count;
}

}  // namespace

long WORKLOAD_NAME(int size) {
    std::vector<int> code;
    for (int i = 0; i < 256; ++i) code.push_back((i * 7 + 3) % 6);
    long total = 0;
    for (int i = 0; i < size; ++i) {
        total += run_program(code, i);
        total += collatz(static_cast<std::uint64_t>(i) + 1);
    }
    std::string text;
    for (int i = 0; i < size / 16; ++i) text += (i % 3 == 0) ? "a, " : "bb ";
    return total + words(text);
}
