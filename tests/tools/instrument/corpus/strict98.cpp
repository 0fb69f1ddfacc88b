// strict98.cpp: C++98 with -pedantic: the copy keeps to it (no long long, no nullptr).
#include <cstddef>

struct Link {
    explicit Link(int v)  //+
        : next(0),  // no nullptr to stand for the constant: not counted
          value(v) {}  //+
    Link* next;
    int value;
};

int main() { return Link(1).next == NULL ? 0 : 1; }  //+
