// demo: a small text-statistics program instrumented by hand with every kind of probe.
//
// It runs two test cases ("demo.vowels" and "demo.words"), clears the counts
// between them and appends one record group per test case to the coverage
// file named on its command line (default "demo_coverage.out").
#include <cstdio>
#include <cstring>

#include "mirt64.h"

// The name under which this file's counts are reported: the same on every system.
static char this_file[] = "examples/demo.cpp";
static char helpers_file[] = "examples/text/helpers.cpp";

// A registered counter table: the library owns the counters, the code increments them.
static int classify_lines[] = {31, 33, 35, 37};
static long long* classify_counts = mirt_reg2(this_file, 4, classify_lines);

// A table the program owns itself and only tells the library about.
static int case_lines[] = {50, 52};
static long long case_counts[2];
static int case_registered = mirt_reg(helpers_file, 2, case_lines, case_counts);

enum Kind { Vowel, Consonant, Digit, Other };

static Kind classify(char c) {
    mirt_obj scope(this_file, 29);  // a named point: counted, and traced on entry and exit
    char lower = (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
    if (strchr("aeiou", lower) != nullptr && lower != '\0') {
        ++classify_counts[0];
        return Vowel;
    }
    if (lower >= 'a' && lower <= 'z') {
        ++classify_counts[1];
        return Consonant;
    }
    if (c >= '0' && c <= '9') {
        ++classify_counts[2];
        return Digit;
    }
    ++classify_counts[3];
    return Other;
}

static bool is_upper(char c) {
    if (c >= 'A' && c <= 'Z') {
        ++case_counts[0];
        return true;
    }
    ++case_counts[1];
    return false;
}

static int count_vowels(const char* text) {
    int vowels = 0;
    for (const char* p = text; *p != '\0'; ++p) {
        mirt_fn(1);  // a numbered counter per loop turn
        if (classify(*p) == Vowel) {
            mirt_fn(2);
            ++vowels;
        }
        if (is_upper(*p)) mirt_fn(3);
    }
    return vowels;
}

static int longest_word(const char* text) {
    int longest = 0, current = 0;
    for (const char* p = text;; ++p) {
        mirt_fn2(this_file, 72);  // a source-line probe: exact under threads
        if (*p == ' ' || *p == '\0') {
            mirt_fn2(this_file, 74);
            if (current > longest) {
                c_mirt_fn(this_file, 76);  // a point keyed by the name's address
                longest = current;
            }
            current = 0;
            if (*p == '\0') break;
        } else {
            ++current;
        }
    }
    return longest;
}

int main(int argc, char** argv) {
    const char* out = argc > 1 ? argv[1] : "demo_coverage.out";
    const char* text = "Coverage tells which Lines ran 2 times or 40";
    (void)case_registered;

    static char vowels_case[] = "demo.vowels", words_case[] = "demo.words", label[] = "example";
    c_mirt_set_test_name(vowels_case, static_cast<int>(strlen(vowels_case)), label);
    printf("vowels: %d\n", count_vowels(text));
    c_mirt_write_coverage_data(out);

    c_mirt_clear_coverage_data();  // the next record group holds only the next test's hits
    c_mirt_set_test_name(words_case, static_cast<int>(strlen(words_case)), label);
    printf("longest word: %d letters\n", longest_word(text));
    c_mirt_write_coverage_data(out);

    c_mirt_allow_shutdown_writing(false);  // the two test cases are all this run reports
    return 0;
}
