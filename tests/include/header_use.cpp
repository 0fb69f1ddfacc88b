// Every name-taking probe called with string literals, as C++ code calls them.
#include "mirt64.h"
static int lines_[1] = {3};
static long long counters_[1];
int main() {
    mirt_obj scope("a.cpp", 3);
    mirt_fn("a.cpp", 4);
    c_mirt_fn("a.cpp", 4);
    mirt_fn2("a.cpp", 5);
    c_mirt_fn2("a.cpp", 5);
    mirt_fn22("a.cpp", 5);
    mirt_set_test_name("t", 1, "label");
    c_mirt_set_test_name("t", 1, "label");
    mirt_reg("b.cpp", 1, lines_, counters_);
    c_mirt_reg("b.cpp", 1, lines_, counters_);
    long long* c = mirt_reg2("c.cpp", 1, lines_);
    c = c_mirt_reg2("c.cpp", 1, lines_);
    char name[] = "d.cpp";
    mirt_fn(name, 1);
    mirt_fn(7);
    return c ? 0 : 1;
}
