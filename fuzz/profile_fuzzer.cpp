// profile_fuzzer.cpp: the INI reader and writer, and the auto-dump configuration read through them.
#include <cstring>

#include "autodump/autodump.h"
#include "fuzz/fuzz_support.h"
#include "platform/profile.h"

namespace {

const char* const section = "MIRT_AUTODUMP";
const char* const keys[] = {"TIMEINTERVAL", "MAXFILESIZE", "AUTODUMP"};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string path = mirt_fuzz::scratch_path("mirt_autodump_config.ini");
    mirt_fuzz::write_input(path, data, size);

    // The configuration as auto-dump takes it: whatever the file says, the
    // interval stays a positive number of milliseconds.
    snprintf(mirt::autodump_paths.config, sizeof mirt::autodump_paths.config, "%s", path.c_str());
    mirt::autodump_settings = mirt::AutodumpSettings{};
    mirt::load_autodump_configuration();
    MIRT_FUZZ_REQUIRE(mirt::autodump_settings.interval > 0);

    // Reads into small buffers are cut, never overrun, and end in a NUL.
    for (const char* key : keys) {
        char small[4];
        size_t n = mirt::platform::read_profile_string(section, key, "default", small, sizeof small, path.c_str());
        MIRT_FUZZ_REQUIRE(n < sizeof small && strlen(small) == n);
    }

    // A value written is the value read back, and the other keys keep theirs.
    char before[2][128], after[2][128];
    for (int i = 0; i < 2; ++i)
        mirt::platform::read_profile_string(section, keys[i + 1], "", before[i], sizeof before[i], path.c_str());
    if (!mirt::platform::write_profile_string(section, keys[0], "17", path.c_str())) return 0;
    char value[128];
    mirt::platform::read_profile_string(section, keys[0], "", value, sizeof value, path.c_str());
    MIRT_FUZZ_REQUIRE(strcmp(value, "17") == 0);
    for (int i = 0; i < 2; ++i) {
        mirt::platform::read_profile_string(section, keys[i + 1], "", after[i], sizeof after[i], path.c_str());
        MIRT_FUZZ_REQUIRE(strcmp(before[i], after[i]) == 0);
    }
    return 0;
}
