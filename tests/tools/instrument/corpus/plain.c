/* plain.c: a C program, compiled as C. */
#include <setjmp.h>
#include <stdatomic.h>
#include <stdio.h>
#include <string.h>

#define SQUARE(x) ((x) * (x))
#define SKIP_SPACES(s) while (*(s) == ' ') { (s)++; }
#define BUMP(n) (n)++;
#define ADD_CASE(v, n) case v: total += n; break;
#define EACH(i, n) for (i = 0; i < (n); i++)
#define WHEN(c) if (c)
#define FIND(x, t, n, at) do { for (at = 0; at < (n); at++) { if ((t)[at] == (x)) break; } } while (0)

struct item { const char* name; int weight; };

static int* pick(int* p, int i) { return p + (i - i); }  //+

static int by_weight(const void* pa, const void* pb) {  //+
    const struct item* a = pa;  //+
    const struct item* b = pb;  //+
    struct item copy;
    copy.weight  // the place stored to needs no code
        = 0;  //+ the store stands at the "="
    copy.weight  //+ read where it stands
        += a->weight;  //+
    struct item pair[2] = {  //+
        {a->name, a->weight},  //+ elements are stored where their code stands
        {"b", 2},
    };
    int spread = copy.weight  //+
                 - b->weight + pair[1].weight;  //+ the load inside keeps its place
    int twice = spread  //+
                * 2;  // one operation on registers, made with the store
    if (a->weight  //+
        > b->weight)  //+ the test's operand is loaded on its own line
        twice = -twice;  //+
    return a->weight  //+
           - b->weight + twice - 2 * spread;  //+
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
    return s;  //+
}

/* setjmp returns twice: its condition runs again with no new entry to the if. */
static jmp_buf retry;
static int below(int n, int limit) { return n < limit; }  //+
static int inside(int n) {  //+
    return (  // the keyword's line holds no code
        n > 2 &&  //+
        n < 99);
}
static int tries(void) {  //+
    volatile int n = 0;  //+
    if (setjmp(retry) != 0)  //+
        n += 10;  //+
    if (below(++n, 3)) longjmp(retry, 1);  //+
    return n;  //+
}

/* A C library function that the program defines for itself (as portability
   shims do): only the program's own calls run it, never the runtime's. */
size_t strnlen(const char* s, size_t limit) {  //+
    size_t n = 0;  //+
    while (n < limit && s[n] != 0) n++;  //+
    while (n  //+ entries: the test runs on its last line
           < limit / 2)  //+
        n++;  //+
    size_t k;
    for (k = 0; k  //+
                < n; k++)  //+
        n += 0;  //+
    return n;  //+
}

#define WIDE long
static int rounds(const char* s) {  //+
    int n = 0;  //+
    while (1) {  //+ a body that opens with declarations: gcc gives the jump back this line
        WIDE k;  // a declaration whose type a macro names runs nothing
        if (*s == 0) break;  //+
        k = 1;  //+
        if (*s == 'a') { ++s; continue; }  //+
        n += (int)k;  //+
        ++s;  //+
    }
    return n;  //+
}

int main(void) {  //+
    struct item items[] = {{"b", 3}, {"a", 1}, {"c", 2}};  //+
    int (*cmp)(const void*, const void*) = by_weight;  //+
    struct item first = {.name = "d", .weight = 4};  //+
    int i, total = first.weight;  //+
    for (i = 1; i < 10; i++) total += table(i);  //+
    total += cmp(&items[0], &items[1]);  //+
    int rest = total;  //+
    int* rest_at = &rest;  //+
    total += below(*rest_at,  //+
                   rest ? 2 : 3);  //+ rest's address is taken: it is loaded where it is tested
    total += (int)strlen(items[2].name) + (int)strnlen(items[0].name, 4);  //+
    for (i = 0; i < 3; i++) {  //+
        const char* text = "   x" + i;  //+
        SKIP_SPACES(text);  //+ the rounds of the macro's loop count here too
        total += *text;  //+
    }
    EACH(i, 3) {  //+ a body after a macro's loop: its rounds count on the use's line
        int w = items[i].weight;  //+
        total += w;  //+
    }
    EACH(i, 2)  //+
        total += i;  //+ a statement of its own, even an expression
    for (i = 0; i < 2; i++) {  //+
        int at, j;
        FIND(i + 3, "\3\4\5", 3, at);  //+ the round that a break ends does not go round
        *pick(&at, i) =  //+
            total - i;  //+ a call finds the place: the value is worked out where it stands
        total += at;  //+
        EACH(j, 4) {  //+
            if (j == i) continue;  //+
            if (j == 2) break;  //+ the loop's own, not the one around it
            total += j;  //+
        }
    }
    WHEN(total > 0)  //+
        total--;  //+
    static _Atomic int calls;
    atomic_fetch_add(&calls, 1);  //+ the parse takes Clang's own atomics
    for (i = 0; i < 2; i++) {  //+
        const char* chosen =  //+ C stores what ?: chose where the declarator stands
            total > i ? strchr(items[i].name, 'b')  //+
                      : items[1].name;  //+ and takes it where ':' stands
        total += chosen != NULL;  //+
        const char* other = i  //+
            ? strchr(items[0].name, 'b')  //+ the arm alone: gcc's C takes the value at ':'
            : items[2].name;  //+
        total += other != NULL;  //+
        const char* which = i ? items[0].name :  //+
                            first.name;  // reading a variable's member needs no code of its own
        total += which[0] == 'd';  //+
    }
    total += tries() + rounds("abac") + inside(total);  //+
    if (total > 0)  //+
        BUMP(total);  //+ the macro's text ends the statement with its own ';'
    switch (total % 2) {  //+
    ADD_CASE(0, 1)  //+ a case that a macro's use writes, statements and all
    default: break;  //+
    }
    printf("%s %d\n",  //+
           items[1].name,  // one access, made with the call
           total - first.weight);  //+ the load inside the subtraction keeps its place
    return 0;  //+
}
