// Parts of statements on lines of their own: each line marked //+ is counted.
#include <algorithm>
#include <cstdio>

#define BLOCK(x) { std::printf("%d\n", x); std::printf("%d\n", x); }

static int twice(int x) { return 2 * x; }  //+

struct Pair {
    int a, b;
    Pair(int x, int y)  //+
        : a(x),  //+
          b(std::max(y,  //+
                     0)) {}
};

// Defaulted and deleted functions have no body of their own to count.
struct Defaulted {
    Defaulted() = default;
    Defaulted(const Defaulted&) = default;
    Defaulted& operator=(Defaulted&&) = delete;
    int v = 0;
};

template <bool B>
int pick(int x) {  //+
    if constexpr (B &&
                  sizeof(int) > 2)
        return x;  //+
    else
        return -x;  //+
}

int main(int argc, char**) {  //+
    constexpr int limit = 2 >  //+
                          1;
    bool ok = argc > 0 &&  //+
              twice(argc) > 1;  //+
    int v = ok ?  //+
        twice(3) :  //+
        4;
    std::printf("%d\n",  //+
                v);
    std::printf("%d %d\n", v,  //+
                twice(v));  //+
    for (int i = 0;  //+
         i < limit;  //+
         ++i)  //+
        BLOCK(i);  //+
    Pair p(1, 2);  //+
    Defaulted d;  //+
    Defaulted e(d);  //+
    (void)e;
    [[maybe_unused]] int unused = e.v;  //+
    return pick<true>(p.a) + pick<false>(p.b) > 0 ? 0 : 1;  //+
}
