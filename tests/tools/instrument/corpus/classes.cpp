// classes.cpp: templates, lambdas, exceptions, constexpr, consteval, classes,
// and statements whose parts stand on lines of their own.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#define BLOCK(x) { std::printf("%d\n", x); std::printf("%d\n", x); }
#define FRESH_STREAM() std::ostringstream().flush()
#define CHECKED(c) if (c) ; else std::cerr
#define CONSTANT_FUNCTION(name, value) \
    static int name() { return value; }
CONSTANT_FUNCTION(answer, 42)  //+ a function that a macro's use defines
#define SUM_FUNCTION(name) \
    static int name(int n) { int s = 0; for (int i = 0; i < n; i++) { s += i; } return s; }
SUM_FUNCTION(sum_below)  //+ the rounds of the macro's loop count here too function style: calls
// As a test framework checks: the verdict owns its message.
struct Verdict {
    std::string message;
    explicit operator bool() const { return message.empty(); }  //+
};
Verdict& operator<<(Verdict& v, const char* more) { v.message += more; return v; }  //+
#define EXPECT_SMALL(v) switch (0) case 0: default: \
    if (const Verdict verdict_ = Verdict{(v) < 99 ? "" : "big"}) ; else std::puts(verdict_.message.c_str())
// As a test framework checks what a statement reports: a class of the
// macro's own runs it.
#define IN_HELPER(statement)                    \
    do {                                        \
        struct Helper {                         \
            static void run() { statement; }    \
        };                                      \
        Helper::run();                          \
    } while (0)
int helped = 0;
// As a test framework declares a test: a class whose constructor and
// destructor the macro defaults, and a body that follows its use.
struct Case {
    virtual ~Case() {}  //+
    virtual int run() = 0;
};
#define CASE(name)                    \
    struct name : Case {              \
        name() = default;             \
        ~name() override = default;   \
        int run() override;           \
    };                                \
    int name::run()
CASE(first_case) { return 1; }  //+ made, run, deleted (twice: two destructors); function style: one

// Constants stay constant: no count goes into their initialisers.
template <typename A, typename B>
struct both_true {
    static constexpr bool value = A::value && B::value;
};
static_assert(both_true<std::true_type, std::true_type>::value, "a constant");
const bool wide_long = sizeof(long) > 2 && sizeof(long) >= sizeof(int);
char long_bytes[wide_long ? sizeof(long) : 1];

template <typename T>
T clamp_sum(const std::vector<T>& v, T limit) {  //+
    T s = T();  //+
    for (const T& x : v) {  //+
        s += x;  //+
        if (s > limit) return limit;  //+
    }
    return s;  //+
}

// Inside a template gcc makes an object copied from its initialiser on the
// declaration's line; a template that nothing instantiates makes no code.
template <typename T>
std::string label(T n) {  //+
    std::string text =  //+
        std::to_string(n);
    return text + ";";  //+ gcov: counts two blocks of this line
}

template <typename T>
T never_instantiated(T x) {
    return x * 3;
}

// Instantiated only for an inline function that nothing calls: no code.
template <typename T>
T reached_from_nothing(T x) {
    return x + 1;
}
inline int never_called() {  //+ an inline function of the source keeps its lines
    return reached_from_nothing(2);  //+
}

// What an operand of a template is, an instantiation tells.
template <typename T>
T rounded_up(T value) {  //+
    auto wide = value * 3ull;  //+
    value = static_cast<T>(wide >> 1) +  //+ gcov: enters it again after the next line
            (static_cast<T>(value >= 4) * 4);  //+
    return value;  //+
}

template <bool B>
int pick(int x) {  //+
    if constexpr (B &&
                  sizeof(int) > 2)
        return x;  //+
    else
        return -x;  //+
}

constexpr int triangle(int n) {  //+
    int s = 0;  //+
    for (int i = 1; i <= n; ++i) s += i;  //+
    return s;  //+
}
static_assert(triangle(4) == 10, "computed at compile time too");

// consteval functions and lambdas in unevaluated operands get no probes.
consteval int cube(int x) {
    int r = x * x * x;
    return r;
}
using Fn = decltype([](int x) { return x + 1; });
static_assert(sizeof(Fn) == 1);

struct Shape {
    virtual ~Shape() {}  //+
    virtual int area() const = 0;
    int kind() const { return 1; }  //+
};

struct Rect : Shape {
    int w, h;
    Rect(int w_, int h_) : w(w_), h(h_) {}  //+
    int area() const override { return w * h; }  //+
};

struct Square : Shape {
    int side;
    explicit Square(int s) : side(s) {}  //+
    int area() const override {  //+
        return side * side;  //+
    }
    Square* self() { return this; }  //+
    int sides() const { return 4; }  //+
};

struct Tally {
    int n;
    explicit Tally(int start)  //+
    {  //+ a constructor in its class without initialisers starts at its brace
        n = start;  //+
    }
};

struct Pair {
    int a, b;
    Pair(int x, int y)  //+
        : a(x),  //+
          b(std::max(y,  //+ gcov: counts two blocks of this line
                     0)) {}  //+ an empty body: its end counts each entry
};

struct Node {
    Node(const char* name_, int weight_);
    std::string name;
    int weight;
    Node* next;
    Node* prev;
    void* data;
    bool seen;
    std::vector<int> marks;
};

Node::Node(const char* name_,  //+
           int weight_)  //+ a constructor defined outside its class: here too
    : name(  //+ where the member is named, its arguments below
          name_),
      weight(weight_),  //+
      next(nullptr),  //+ constants are stored on their lines
      prev(0),  //+ null pointer constants too (as nullptr)
      data(NULL),  //+
      seen(),  //+ a number made without arguments: a zero stored there
      marks() {}  //+ made without arguments: counts as the constructor's entry

#define NO_THROW noexcept
// Defaulted and deleted functions have no body of their own to count; a
// default constructor or destructor defaulted outside its class gets one.
struct Defaulted {
    Defaulted() = default;
    Defaulted(const Defaulted&) = default;
    Defaulted& operator=(Defaulted&&) = delete;
    ~Defaulted() NO_THROW;
    int v = 0;
};
Defaulted::~Defaulted() NO_THROW  //+ a macro before "= default" too
    = default;

static int checked(int n) {  //+
    if (n % 4 == 3) throw std::runtime_error("bad " + std::to_string(n));  //+
    return n;  //+
}

static int guarded(int n) {  //+
    try {
        return checked(n);  //+
    } catch (const std::runtime_error& e) {  //+
        return -static_cast<int>(e.what()[0]);  //+
    }
}

#define TRY try
#define CATCH(x) catch (x)
static int guarded_by_macro(int n) {  //+
    TRY {
        return checked(n);  //+
    }
    CATCH(...) {  //+ a handler that a macro writes counts on its line
        return 0;  //+
    }
}

// Initialisers that a constant evaluates too: their counts stay out of it.
struct Span {
    int length;
    int rounded = length > 8 ? 16 : 8;
    unsigned buffer = BUFSIZ > 32768 ? BUFSIZ : 32768;
};
constexpr Span fixed_span{3};

static int doubled(int x) { return 2 * x; }  //+

static int counter() {  //+
    static int calls = 0;
    static std::string label = "calls";  //+
    static int computed = triangle(calls + 2);  //+
    static int spread = doubled(calls +  //+ made once
                                computed);  //+ and tested each time where it ends
    static std::string named(  // the constructor runs where its parentheses close
        label.c_str());  //+
    static std::string joined = label +  // an operator placed at its end makes it there
                                "!";  //+
    static int chosen = [] {  //+
        return doubled(3);  //+
    }();  //+ the test whether it was made
    int s = static_cast<int>(sizeof(clamp_sum(std::vector<int>{}, 1)));  //+
    int both = [&] {  //+ and the lambda's entries; function style: the lambda's alone
        return spread + chosen;  //+
    }();  //+ the call stands where its parentheses do
    s += both - spread - chosen + static_cast<int>(named.size() + joined.size()) - 11;  //+
    if constexpr (sizeof(int) == 4) {
        s += 1;  //+
    }
    return ++calls + static_cast<int>(label.size()) + computed + s;  //+
}

struct Named { int id; std::string name; };
int main(int argc, char**) {  //+
    std::vector<int> ints{3, 1, 4, 1, 5, 9, 2, 6};  //+
    std::vector<double> reals{0.5, 1.5, 2.5};  //+
    Named named[] = {  // objects: made where the list closes
        {1, "one"},
        {2, "two"},
    };  //+ gcov: counts one entry for each object made
    int total = clamp_sum(ints, 12) + static_cast<int>(clamp_sum(reals, 100.0)) + answer() - 42;  //+
    total += named[1].id + static_cast<int>(named[1].name.substr(0,  //+ gcov: enters it again after the next line
                                                                 1).size());  //+ a call after its object's call
    auto twice = [](int x) { return 2 * x; };  //+
    auto shout = [&total](const char* what) {  //+ gcov: counts the closure on its last line
        total += static_cast<int>(std::strlen(what));  //+
    };
    for (int i = 0; i < 7; ++i) total += twice(i) + triangle(i);  //+
    auto inc = [](int x) { return x + 1; }; total += inc(total) + inc(1);  //+ function style: calls
    shout("hello");  //+
    shout("coverage");  //+
    std::vector<Shape*> shapes{new Rect(2, 3), new Square(4), new Rect(1, 1)};  //+
    for (Shape* s : shapes) total += s->area();  //+
    std::printf("%d %d\n", total,  //+
                shapes[1]->area());  //+ a virtual call's lookup keeps its place
    Square square(2);  //+
    Tally tally(total);  //+
    total += tally.n;  //+
    std::printf("%d %d\n", total,  //+
                square.self()->sides());
    std::printf("%d %d\n", total,  //+
                square.self()->kind());  //+ a call's result taken as its base: placed here
    for (Shape* s : shapes) delete s;  //+
    for (int i = 0; i < 9; ++i) total += guarded(i) + guarded_by_macro(i);  //+
    Span span{argc * 10};  //+
    total += span.rounded + fixed_span.rounded + rounded_up(total);  //+
    for (int i = 0; i < 3; ++i)  //+
        total += i % 2 ?  //+ gcov: enters it again to add what the arms give
            doubled(i) : doubled(i + 1);  //+ both arms on one line: whichever runs
    for (int x : ints) {  //+ a range-for that a break leaves: no end by its condition
        if (x > 4) break;  //+
        total += x;  //+
    }
    for (int i = 0; i < 3; ++i) total += counter();  //+
    constexpr int limit = 2 >  //+
                          1 + cube(0);
    static_assert(sizeof([] { return 1; }()) == sizeof(int));
    bool ok = argc > 0 &&  //+ gcov: counts two blocks of this line
              doubled(argc) > 1;  //+
    int v = ok ?  //+
        doubled(3) :  //+
        4;  //+ a constant arm: the value is stored here, whichever arm ran
    std::printf("%d\n",  //+
                v);
    std::printf("%d %d\n", v,  //+ an argument that is a call: placed with its call
                doubled(v));
    for (int i = 0;  //+ gcov: counts two blocks of this line
         i < limit;  //+
         ++i)  // g++ places an increment that calls nothing with the condition
        BLOCK(i);  //+
    Pair p(1, 2);  //+
    Node* node =
        new Node("n",
                 p.b);  //+ a new-expression: at its initialiser's closing parenthesis
    CHECKED(node->weight == 2) << "weight "  //+
                               << node->weight;  //+ after a macro's use: never run
    delete node;  //+
    Case* test_case = new first_case;  //+
    total += test_case->run() - 1;  //+
    delete test_case;  //+
    Defaulted d;  //+
    Defaulted e(d);  //+
    std::div_t parts;
    parts = std::div(total, 3);  //+
    (void)e;
    [[maybe_unused]] int unused = e.v;  //+
    std::ostringstream out;  //+
    for (int i = 0; i < 2; ++i)  //+
        out << "total " << total + pick<true>(p.a) + pick<false>(p.b)  //+
            << '\n';  //+ an operator's call that a line of its own starts counts there
    out << "a string in "
           "pieces ";  //+ the operator's call: where the literal's last piece is
    CHECKED(total < 0) << "another "  //+
                          "one";  //+ an operator that is not a member: where its expression ends
    Verdict verdict;  //+
    struct { Verdict* to; } holder = {&verdict};  //+
    *holder.to << "found through "  //+ an object reached through a pointer: loaded where it stands
               << "a pointer";  //+
    out << total
        << "and "
           "a third\n";  //+
    out << "operators that are not members "
        << "run where the last of them ends " << total << ".";  //+
    FRESH_STREAM() << "unless their object "  //+ gcov: enters it again after the next line
                   << "has code of its own " << total << ".";  //+
    const char* const greeting =  // code on the next line only: counted there
        std::strchr("xhello", 'h');  //+
    out  // only the object's name: no code
        .put(greeting[0]);  //+ and a member call
    std::string name;  //+
    name =
        label(total);  //+ an assignment whose code starts below
    name = std::max(name,  //+
                    std::string("z"));  //+ an argument that makes an object
    std::vector<int> sizes(
        2, total);  //+ a construction: at its closing parenthesis
    total = total +  //+
        pick<true>(1);  //+ an operand that calls
    const std::string made = std::to_string(
        total);  //+ an object that a call returns: made where the call ends
    total += static_cast<int>(made.size());  //+
    EXPECT_SMALL(total -  //+
                 total);  //+ the verdict is destroyed where the statement ends
    IN_HELPER(  //+ the helper's entries too: its body calls function style: the helper's alone
        helped += answer());
    IN_HELPER(helped += 2);  //+ a body of one block: gcov passes over it
    total += helped + sum_below(4) + sum_below(2);  //+
    std::printf("%s%s%zu%d", out.str().c_str(), name.c_str(), sizes.size(), parts.rem);  //+
    return 0;  //+
}
