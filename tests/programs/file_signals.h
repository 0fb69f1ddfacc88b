// file_signals.h: test programs and their test agree on steps through files that appear.
#ifndef MIRT_FILE_SIGNALS_H
#define MIRT_FILE_SIGNALS_H

#include <chrono>
#include <cstdio>
#include <thread>

// Creates an empty file at path.
inline void touch_file(const char* path) {
    if (FILE* f = fopen(path, "wb")) fclose(f);
}

// Waits until a file exists at path, up to two minutes; false after that.
inline bool wait_for_file(const char* path) {
    for (int i = 0; i < 12000; ++i) {
        if (FILE* f = fopen(path, "rb")) {
            fclose(f);
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

#endif
