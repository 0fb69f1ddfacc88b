/* tokens.c: the C part of the example. */
#include "tokens.h"

static int is_letter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

int next_word(const char* text, int* pos, char* word, int size) {
    int n = 0;
    while (text[*pos] != '\0' && !is_letter(text[*pos]))
        ++*pos;
    while (is_letter(text[*pos])) {
        if (n + 1 < size)
            word[n++] = text[*pos];
        ++*pos;
    }
    word[n] = '\0';
    return n;
}

/* The number of words of text: nothing in the example calls it. */
int count_words(const char* text) {
    int pos = 0, n = 0;
    char word[32];
    while (next_word(text, &pos, word, sizeof word) > 0)
        ++n;
    return n;
}
