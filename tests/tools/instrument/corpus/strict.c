/* C89 with declarations first: probes before them must be declarations. */
#include <stdio.h>

static int sum(int n)  /*+*/
{
    int s = 0;  /*+*/
    int i;
    for (i = 0; i < n; i++) {  /*+*/
        int sq = i * i;  /*+*/
        s += sq;  /*+*/
    }
    return s;  /*+*/
}

int main(void) {  /*+*/
    int total = sum(4);  /*+*/
    printf("%d\n", total);  /*+*/
    return total > 100 ?  /*+*/
        1 :
        0;
}
