// Statement forms: every line marked //+ is counted, no other line is.
#include <cassert>
#include <stdexcept>
#include <vector>

#define CHECK(x) do { if (!(x)) throw std::runtime_error(#x); } while (0)
#define TWICE(s) s; s

static int braces(int n)  //+
{
    int s = 0;  //+
    if (n > 2)  //+
        s = 1;  //+
    else if (n > 1)  //+
        s = 2;  //+
    else
        s = 3;  //+
    if (n) s += 4; else s += 5;  //+
    for (int i = 0; i < n; ++i)  //+
        s += i;  //+
    while (s > 100)  //+
        s /= 2;  //+
    do
        --s;  //+
    while (s > 50);  //+
    return s;  //+
}

static int loops(const std::vector<int>& v) {  //+
    int s = 0;  //+
    for (int x : v) {  //+
        if (x == 3) continue;  //+
        s += x;  //+
    }
    for (;;) {
        if (++s > 10) break;  //+
    }
    while (true) {
        if (++s > 20) break;  //+
    }
    for (int i = 0;; ++i) {  //+
        if (i > 2) break;  //+
    }
    int k = 0;  //+
    for (; k < 3;) ++k;  //+
    for (auto x : v) s += x;  //+
    return s + k;  //+
}

static int jumps(int n) {  //+
    int s = 0;  //+
    switch (n) {  //+
    case 0:  //+
        s = 1;  //+
        [[fallthrough]];
    case 1: case 2:  //+
        s += 2;  //+
        break;  //+
    default: s = 7;  //+
    }
    if (n == 5) goto done;  //+
    s *= 2;  //+
done:  //+
    return s;  //+
}

static int macros(int n) {  //+
    CHECK(n >= 0);  //+
    assert(n < 1000);  //+
    int s = 0;  //+
    TWICE(++s);  //+
    if (n > 3)  //+
        CHECK(n != 4);  //+
    return s;  //+
}

template <typename T>
T twice(T x) {  //+
    return x + x;  //+
}

struct Counter {
    int total = 0;
    void add(int x) { total += x; }  //+
    int get() const {  //+
        return total;  //+
    }
};

static int lambdas(int n) {  //+
    int s = 0;  //+
    auto add = [&](int x) { s += x; };  //+
    auto mul = [](int x) {  //+
        return x * 3;  //+
    };
    add(n);  //+
    return mul(s);  //+
}

static int errors(int n) {  //+
    try {
        if (n == 2) throw std::runtime_error("two");  //+
        return n;  //+
    } catch (const std::exception&) {  //+
        return -1;  //+
    }
}

constexpr int square(int x) {  //+
    int r = x * x;  //+
    return r;  //+
}
static_assert(square(3) == 9, "constexpr evaluation");

static int unevaluated() {  //+
    int a = 0;  //+
    static int cached = 5;
    static int computed = square(a + 2);  //+
    a += static_cast<int>(sizeof(twice(a)));  //+
    if constexpr (sizeof(int) == 4) {
        a += 1;  //+
    }
    return a + cached + computed + twice(1) + static_cast<int>(twice(1.5));  //+
}

int main(int argc, char**) {  //+
    std::vector<int> v{1, 2, 3, 4};  //+
    Counter c;  //+
    c.add(braces(argc) + loops(v) + jumps(argc) + macros(argc) + lambdas(argc) + errors(argc));  //+
    return c.get() + unevaluated() > 0 ? 0 : 1;  //+
}
