// C++20: consteval functions and lambdas in unevaluated operands get no probes.
consteval int cube(int x) {
    int r = x * x * x;
    return r;
}

constexpr int twice(int x) {  //+
    if (x < 0) return 0;  //+
    return 2 * x;  //+
}

using Fn = decltype([](int x) { return x + 1; });
static_assert(sizeof(Fn) == 1);

int main() {  //+
    constexpr int c = cube(2);  //+
    int t = twice(c);  //+
    static_assert(twice(4) == 8);
    static_assert(sizeof([] { return 1; }()) == sizeof(int));
    return t > 0 ? 0 : 1;  //+
}
