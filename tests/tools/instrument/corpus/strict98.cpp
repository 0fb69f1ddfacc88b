// strict98.cpp: C++98 with -pedantic: the copy keeps to it (no long long, no nullptr).
#include <cstddef>

struct Link {
    explicit Link(int v)  //+
        : value(v),  //+
          next(0),  // no nullptr to stand for the constant: not counted
          data(NULL) {}  //+ an empty body: its end counts each entry
    int value;
    Link* next;
    void* data;
};

int total(const Link* l) {  //+
    int s = 0;  //+
    for (; l != 0; l = l->next) s += l->value;  //+
    return s;  //+
}

int main() {  //+
    Link a(1);  //+
    return total(&a) == 1 ? 0 : 1;  //+
}
