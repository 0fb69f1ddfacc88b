// textstats: counts words, vowels and the longest word of a few sentences,
// or of the sentences given as arguments. Nothing here knows about coverage;
// the build adds the probes. The demo runs it without arguments, so that its
// report has lines that never ran.
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "tokens.h"

static bool is_vowel(char c) {
    switch (c) {
    case 'a': case 'e': case 'i': case 'o': case 'u':
    case 'A': case 'E': case 'I': case 'O': case 'U':
        return true;
    default:
        return false;
    }
}

static std::vector<const char*> sentences_of(int argc, char** argv) {
    if (argc > 1) {
        std::printf("%d sentences given\n", argc - 1);
        return std::vector<const char*>(argv + 1, argv + argc);
    }
    return {
        "Coverage tells which lines ran",
        "and how often they ran, line by line",
        "Probes count; the runtime writes the counts out",
    };
}

int main(int argc, char** argv) {
    std::map<std::string, int> seen;
    int vowels = 0;
    std::string longest;
    for (const char* text : sentences_of(argc, argv)) {
        int pos = 0;
        char word[32];
        while (next_word(text, &pos, word, sizeof word) > 0) {
            ++seen[word];
            for (const char* p = word; *p; ++p)
                if (is_vowel(*p)) ++vowels;
            if (std::string(word).size() > longest.size()) longest = word;
        }
    }
    std::printf("%zu distinct words, %d vowels, longest word: %s\n", seen.size(), vowels, longest.c_str());
    return 0;
}
