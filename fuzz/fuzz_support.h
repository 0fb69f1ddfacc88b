// fuzz_support.h: what the fuzz targets share: a private scratch folder and
// the input written to a file there, for readers that take a path.
#ifndef MIRT_FUZZ_SUPPORT_H
#define MIRT_FUZZ_SUPPORT_H

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <unistd.h>

namespace mirt_fuzz {

// A folder of this process's own, made on first use, so that two targets
// running side by side never share a file.
inline const std::string& scratch_folder() {
    static const std::string folder = [] {
        const char* tmp = getenv("TMPDIR");
        std::string pattern = std::string(tmp != nullptr && tmp[0] != '\0' ? tmp : "/tmp") + "/mirt-fuzz-XXXXXX";
        if (mkdtemp(pattern.data()) == nullptr) abort();
        return pattern;
    }();
    return folder;
}

inline std::string scratch_path(const char* name) { return scratch_folder() + "/" + name; }

// Replaces the file at path with the bytes given.
inline void write_input(const std::string& path, const uint8_t* data, size_t size) {
    FILE* file = fopen(path.c_str(), "wb");
    if (file == nullptr) abort();
    if (size > 0 && fwrite(data, 1, size, file) != size) abort();
    fclose(file);
}

// Stops the run with a crash report when an expectation fails, so that the
// fuzzer keeps the input.
inline void require_at(bool condition, const char* what, int line) {
    if (condition) return;
    fprintf(stderr, "fuzz expectation failed at line %d: %s\n", line, what);
    __builtin_trap();
}
#define MIRT_FUZZ_REQUIRE(condition) ::mirt_fuzz::require_at((condition), #condition, __LINE__)

}  // namespace mirt_fuzz

#endif
