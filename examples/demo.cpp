// demo: a small program instrumented by hand with the runtime's probes.
#include <cstdio>

#include "mirt64.h"

static char demo_file[] = "examples/demo.cpp";

static int classify(int n) {
    mirt_obj scope(demo_file, 8);
    mirt_fn(1);
    if (n % 2 == 0) {
        mirt_fn(2);
        return 0;
    }
    mirt_fn(3);
    return 1;
}

int main() {
    int odd = 0;
    for (int i = 0; i < 10; ++i) odd += classify(i);
    c_mirt_fn(demo_file, 21);
    printf("demo: %d odd numbers counted\n", odd);
    return 0;
}
