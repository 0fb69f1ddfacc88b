/* tokens.h: splitting text into words, in C. */
#ifndef TOKENS_H
#define TOKENS_H
#ifdef __cplusplus
extern "C" {
#endif
/* Copies the next word of text (from *pos) into word; returns its length, 0 at the end. */
int next_word(const char* text, int* pos, char* word, int size);
/* The number of words of text. */
int count_words(const char* text);
#ifdef __cplusplus
}
#endif
#endif
