/* plain.c: a C program, compiled as C. */
#include <stdio.h>
#include <string.h>

#define SQUARE(x) ((x) * (x))
#define SWAP(a, b) do { int t_ = (a); (a) = (b); (b) = t_; } while (0)

struct item { const char* name; int weight; };

static int by_weight(const void* pa, const void* pb) {  //+
    const struct item* a = pa;  //+
    const struct item* b = pb;  //+
    return a->weight - b->weight;  //+
}

static void sort_ints(int* v, int n) {  //+
    int i, j;
    for (i = 0; i < n; i++)  //+
        for (j = i + 1; j < n; j++)  //+
            if (v[j] < v[i])  //+
                SWAP(v[i], v[j]);  //+
}

static int table(int n) {  //+
    int grid[n];  //+
    int i, s = 0;  //+
    for (i = 0; i < n; i++) grid[i] = SQUARE(i);  //+
    for (i = 0; i < n; i++) {  //+
        switch (grid[i] % 3) {  //+
        case 0: s += 1; break;  //+
        case 1: s += 2;  //+
            /* fall through */
        default: s += 3;  //+
        }
    }
    if (s > 20)  //+
        goto done;  //+
    s *= 2;  //+
done:  //+
    return s;  //+
}

int main(void) {  //+
    struct item items[] = {{"b", 3}, {"a", 1}, {"c", 2}};  //+
    int v[] = {5, 3, 8, 1, 9, 2};  //+
    int (*cmp)(const void*, const void*) = by_weight;  //+
    struct item first = {.name = "d", .weight = 4};  //+
    int i, total = 0;  //+
    switch (first.weight) {  //+
    case 4:  //+
        total++;  //+
        /* fall through */
    default:  //+
        break;  //+
    }
    sort_ints(v, 6);  //+
    for (i = 0; i < 6; i++) total += v[i] * (i + 1);  //+
    for (i = 1; i < 10; i++) total += table(i);  //+
    total += cmp(&items[0], &items[1]);  //+
    total += (int)strlen(items[2].name);  //+
    printf("total %d\n", total);  //+
    return 0;  //+
}
