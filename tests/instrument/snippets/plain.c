/* A C translation unit, compiled as C. */
#include <stdio.h>

struct point { int x, y; };

static int sum(int n)  //+
{
    int s = 0, i;  //+
    int buf[n];  //+
    for (i = 0; i < n; i++) {  //+
        buf[i] = i;  //+
        s += buf[i];  //+
    }
    if (s > 10)  //+
        goto big;  //+
    return s;  //+
big:  //+
    return -s;  //+
}

int main(void) {  //+
    struct point p = {.x = 1, .y = 2};  //+
    switch (p.x) {  //+
    case 1:  //+
        p.y++;  //+
        /* fall through */
    default:  //+
        break;  //+
    }
    printf("%d %d\n", sum(4), p.y);  //+
    return 0;  //+
}
