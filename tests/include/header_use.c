/* The probes from C: declarations first, as C89 wants them. */
#include "mirt64.h"
static int lines_[1] = {3};
int main(void) {
    mirt_count_t* counters = c_mirt_reg2("c.c", 1, lines_);
    c_mirt_fn("a.c", 4);
    c_mirt_fn2("a.c", 5);
    c_mirt_set_test_name("t", 1, "label");
    c_mirt_allow_shutdown_writing(1);
    return counters ? 0 : 1;
}
