// classes.cpp: templates, lambdas, exceptions, constexpr and classes.
#include <cstdio>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

template <typename T>
T clamp_sum(const std::vector<T>& v, T limit) {
    T s = T();
    for (const T& x : v) {
        s += x;
        if (s > limit) return limit;
    }
    return s;
}

constexpr int triangle(int n) {
    int s = 0;
    for (int i = 1; i <= n; ++i) s += i;
    return s;
}
static_assert(triangle(4) == 10, "computed at compile time too");

struct Shape {
    virtual ~Shape() {}
    virtual int area() const = 0;
};

struct Rect : Shape {
    int w, h;
    Rect(int w_, int h_) : w(w_), h(h_) {}
    int area() const override { return w * h; }
};

struct Square : Shape {
    int side;
    explicit Square(int s) : side(s) {}
    int area() const override {
        return side * side;
    }
};

static int checked(int n) {
    if (n % 4 == 3) throw std::runtime_error("bad " + std::to_string(n));
    return n;
}

static int guarded(int n) {
    try {
        return checked(n);
    } catch (const std::runtime_error& e) {
        return -static_cast<int>(e.what()[0]);
    }
}

static int counter() {
    static int calls = 0;
    static std::string label = "calls";
    return ++calls + static_cast<int>(label.size());
}

int main() {
    std::vector<int> ints{3, 1, 4, 1, 5, 9, 2, 6};
    std::vector<double> reals{0.5, 1.5, 2.5};
    int total = clamp_sum(ints, 12) + static_cast<int>(clamp_sum(reals, 100.0));
    auto twice = [](int x) { return 2 * x; };
    auto shout = [&total](const char* what) {  // gcov: counts the closure's construction on the lambda's last line
        total += static_cast<int>(std::strlen(what));
    };
    for (int i = 0; i < 7; ++i) total += twice(i) + triangle(i);
    auto inc = [](int x) { return x + 1; }; total += inc(total % 5) + inc(1);  // function style: the caller's statement here is not counted
    shout("hello");
    shout("coverage");
    std::vector<Shape*> shapes{new Rect(2, 3), new Square(4), new Rect(1, 1)};
    for (Shape* s : shapes) total += s->area();
    for (Shape* s : shapes) delete s;
    for (int i = 0; i < 9; ++i) total += guarded(i);
    for (int i = 0; i < 3; ++i) total += counter();
    std::ostringstream out;
    for (int i = 0; i < 2; ++i)
        out << "total " << total
            << '\n';  // an operator's call that a line of its own starts counts there
    const char* const greeting =
        std::strchr("xhello", 'h');  // so does a declaration's initialiser
    out
        .put(greeting[0]);  // and a member call
    std::printf("%s", out.str().c_str());
    return 0;
}
