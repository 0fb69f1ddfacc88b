/* util.c: C code in a mixed program. */
#include "util.h"

int collatz_steps(int n) {
    int steps = 0;
    while (n != 1) {
        if (n % 2 == 0)
            n /= 2;
        else
            n = 3 * n + 1;
        ++steps;
    }
    return steps;
}

/* No test calls it: the reports show it never ran. */
int collatz_unused(int n) {
    return 2 * n;
}
