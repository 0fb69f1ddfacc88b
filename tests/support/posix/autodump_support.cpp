// autodump_support.cpp (POSIX): computer name, environment, waiting. This file holds only POSIX code.
#include "autodump_support.h"

#include <chrono>
#include <cstdlib>
#include <thread>

#include "test_support.h"

namespace mirt_test {

std::string computer_name() {
    std::string name = read_file("/proc/sys/kernel/hostname");
    while (!name.empty() && (name.back() == '\n' || name.back() == '\r')) name.pop_back();
    return name;
}

std::string profile_variable() { return "HOME"; }

void set_environment(const std::string& name, const std::optional<std::string>& value) {
    if (value) setenv(name.c_str(), value->c_str(), 1);
    else unsetenv(name.c_str());
}

bool pump_until(const std::function<bool()>& done, unsigned timeout_ms) {
    auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
    while (!done()) {
        if (std::chrono::steady_clock::now() >= end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

}  // namespace mirt_test
