// control.cpp: loops, branches, switches, jumps and macros with counts that differ.
#include <cassert>
#include <cstdio>
#include <stdexcept>
#include <vector>

#define CHECK(x) do { if (!(x)) throw std::runtime_error(#x); } while (0)
#define TWICE(s) s; s
#define UPTO(i, n) for (int i = 0; i < (n); ++i)

static int twice_plus(int n);

static int branches(int n)  //+
{
    int s = 0;  //+
    if (n % 3 == 0)  //+
        s += 1;  //+
    if (twice_plus(n)  //+
        > 15)  //+ after the call the comparison stands where its operator does
        s += 1;  //+
    else if (n % 3 == 1)  //+
        s += 2;  //+
    else
        s += 3;  //+
    if (n > 5) { s *= 2; } else { s -= 1; }  //+
    s += n > 7 ? 1 : 0;  //+
    while (s > 100)  //+
        s /= 2;  //+
    while (twice_plus(s)  //+ the call: every evaluation
           < 40)  //+
        s += 9;  //+
    do
        --s;  //+
    while (s > 50);  //+
    do {
        s += 3;  //+
    } while (s  // no code: the test runs on its last line
             < 60);  //+
    return s;  //+
}

static int loops(int n) {  //+
    int s = 0;  //+
    for (int i = 0; i < n; ++i)  //+
        s += i;  //+
    for (int i = 0; i < n; ++i) s ^= i;  //+
    int j = n;  //+
    while (j > 0) {  //+
        j -= 2;  //+
        if (j == 3) continue;  //+
        s += j;  //+
    }
    do {
        ++j;  //+
    } while (j < 4);  //+
    for (;;) {
        if (++j > 9) break;  //+
    }
    while (true) {
        if (++j > 12) break;  //+
    }
    std::vector<int> v(static_cast<size_t>(n % 5 + 1), n);  //+
    for (int x : v) {  //+
        if (x % 4 == 0) continue;  //+
        s += x;  //+
        if (s > 200) break;  //+
    }
    for (auto x : v) {  //+
        s += x;  //+
        UPTO(i, 3) {  //+
            if (i == x % 2) break;  //+ leaves the macro's loop only
            v.at(static_cast<size_t>(i)) +=  //+
                x - i;  //+ a call finds the place: the value is worked out where it stands
        }
    }
    for (int k = 0;; ++k) {  //+
        if (k == n % 3) break;  //+
    }
    int m = 0;  //+
    for (; m < n % 4;) ++m;  //+
    for (int i = 0; i < n;  //+
         i += 3)  //+ an increment on its own line counts there, unless it is a lone "++i"
        s += i;  //+
    for (int i = 0; i < n;  //+
         ++i)
        s -= i;  //+
#pragma GCC unroll 2
    for (int x : v)  // gcov: a loop that a pragma governs keeps its header without a probe
        s += x;  //+
    return s + m;  //+
}

static int either(int n, int a, int b) {  //+
    return n % 2 ?  //+
        a :  // reading a variable needs no code of its own
        b;  //+ g++ returns where the value ends
}

static int twice_plus(int n) {  //+
    return static_cast<int>(  // the keyword's line holds no code, nor the conversion
        n * 2 + 1);  //+
}

static int jumps(int n) {  //+
    int s = 0;  //+
    switch (n % 6) {  //+
    case 0:  //+
        s += 10;  //+
        [[fallthrough]];  // the attribute stays right before the label
    case 1: case 2:  //+
        s += 20;  //+
        break;  //+
    case 4: [[fallthrough]];  //+ the attribute after its label, on one line
    case 3: s += 30; break;  //+
    default:  //+
        s = -1;  //+
    }
    int rounds = 0;  //+
    switch (n % 4) {  //+ without default: "no case" is an outcome too
    case 0: s += 2; break;  //+
    case 1:  // a case just before a goto target counts there
    twice:  //+
    case 2:  //+ a case after a goto target counts what falls into it too
        s += 3;  //+
        if (++rounds < 2) goto twice;  //+
    }
    int tries = 0;  //+
again:  //+
    ++tries;  //+
    if (tries < n % 3 + 1) goto again;  //+
    if (n == 5) goto done;  //+
    s *= 2;  //+
done:  //+
    return s + tries;  //+
}

static int macros(int n) {  //+
    CHECK(n >= 0);  //+
    assert(n < 1000);  //+
    int s = 0;  //+
    TWICE(++s);  //+
    if (n > 3)  //+
        CHECK(n != 40);  //+
    return s;  //+
}

static int a(int x) { return x + 1; } static int b(int x) { return x * 2; }  //+

static int ratio(int x) {  //+
    return b(x) / b(  //+
        1);  //+
}

static bool tests(int x, int y) {  //+
    if (x > 3  //+
        && y == 1)  //+ a test of locals alone: gcc places it where its && begins the line
        return true;  //+
    if (x > 8 &&  //+
        y)  // here its && ends the line above: nothing of it stands here
        return true;  //+
    return false;  //+
}

int main() {  //+
    int total = 0;  //+
    for (int n = 0; n < 12; ++n) {  //+
        total += branches(n);  //+
        total += loops(n);  //+
        total += jumps(n) + macros(n) + twice_plus(n) + either(n, 1, 2);  //+
        total += a(n) + (n % 2 ? b(n) : 0) + ratio(n) + tests(n, n % 3);  //+
    }
    std::printf("total %d\n", total);  //+
    return 0;  //+
}
