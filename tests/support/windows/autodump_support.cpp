// autodump_support.cpp (Windows): computer name, environment, message loop. This file holds only Windows code.
#include "autodump_support.h"

#include <cstdlib>

#include "windows_api.h"

namespace mirt_test {

// The system puts the name in every process's environment.
std::string computer_name() {
    const char* name = getenv("COMPUTERNAME");
    return name != nullptr ? name : "";
}

std::string profile_variable() { return "USERPROFILE"; }

// Both copies of the environment: the system's, which ExpandEnvironmentStringsA
// reads, and the C runtime's.
void set_environment(const std::string& name, const std::optional<std::string>& value) {
    SetEnvironmentVariableA(name.c_str(), value ? value->c_str() : nullptr);
    _putenv((name + "=" + (value ? *value : std::string())).c_str());  // "NAME=" removes it
}

bool pump_until(const std::function<bool()>& done, unsigned timeout_ms) {
    DWORD start = GetTickCount();
    while (!done()) {
        DWORD spent = GetTickCount() - start;
        if (spent >= timeout_ms) return false;
        MsgWaitForMultipleObjects(0, nullptr, FALSE, timeout_ms - spent < 5 ? timeout_ms - spent : 5, QS_ALLINPUT);
        MSG message;
        while (PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageA(&message);
    }
    return true;
}

}  // namespace mirt_test
