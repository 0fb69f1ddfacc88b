// registration_fuzzer.cpp: the registration message that the host's pipe receives.
#include <cstring>

#include "fuzz/fuzz_support.h"
#include "ipc/names.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    std::string name;
    uint32_t pid = 7;
    mirt::parse_registration(text, &name, &pid);
    MIRT_FUZZ_REQUIRE(name.size() <= text.size());
    if (text.compare(0, 3, "CR:") != 0) MIRT_FUZZ_REQUIRE(name.empty() && pid == 0);

    // What a client sends reads back as its name and process id.
    if (pid != 0 && name.find(':') == std::string::npos && name.find('\0') == std::string::npos &&
        name.size() < 200) {
        char message[256];
        mirt::make_registration(message, sizeof message, name.c_str(), pid);
        std::string again;
        uint32_t pid_again = 0;
        mirt::parse_registration(message, &again, &pid_again);
        MIRT_FUZZ_REQUIRE(again == name);
        MIRT_FUZZ_REQUIRE(pid_again == pid);
    }
    return 0;
}
