// autodump_support.h: what the auto-dump tests need of the system: the computer's name,
// the user's profile folder, this process's environment and a message loop.
#ifndef MIRT_AUTODUMP_SUPPORT_H
#define MIRT_AUTODUMP_SUPPORT_H

#include <functional>
#include <optional>
#include <string>

namespace mirt_test {

// The computer's name, read apart from the runtime's own call.
std::string computer_name();
// The environment variable that names the user's profile folder.
std::string profile_variable();
// Sets (or, with nullopt, removes) a variable of this process's environment.
void set_environment(const std::string& name, const std::optional<std::string>& value);
// Runs this thread's message loop (on Windows, where thread timers fire only
// inside it; elsewhere it only waits) until done() or timeout_ms. Returns done().
bool pump_until(const std::function<bool()>& done, unsigned timeout_ms);
inline void pump_for(unsigned ms) { pump_until([] { return false; }, ms); }

}  // namespace mirt_test

#endif
