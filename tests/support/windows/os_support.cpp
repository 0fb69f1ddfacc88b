// os_support.cpp (Windows): child processes, program paths, the computer's name, the
// environment and the message loop, for the tests. This file holds only Windows code.
#include <cstdlib>
#include <filesystem>

#include "tests/support/test_support.h"
#include "platform/windows/windows_api.h"

namespace mirt_test {

std::string executable_name(const std::string& name) { return name + ".exe"; }

std::string program_folder() {
    char path[MAX_PATH];
    DWORD n = GetModuleFileNameA(nullptr, path, MAX_PATH);
    return n == 0 || n >= MAX_PATH ? "." : std::filesystem::path(path).parent_path().string();
}

namespace {
std::string quote(const std::string& arg) {
    if (!arg.empty() && arg.find_first_of(" \t\"") == std::string::npos) return arg;
    std::string quoted = "\"";
    size_t backslashes = 0;
    for (char c : arg) {
        if (c == '\\') {
            ++backslashes;
            continue;
        }
        quoted.append(c == '"' ? backslashes * 2 + 1 : backslashes, '\\');
        backslashes = 0;
        quoted += c;
    }
    return quoted.append(backslashes * 2, '\\') + "\"";
}

// Starts the program with its standard output and error on `output` (an
// inheritable handle) and returns its process handle, or nullptr. Under
// Wine, starting many processes at once now and then fails for a moment
// (ERROR 1359): the start is tried again.
HANDLE create_child(const std::string& path, const std::vector<std::string>& args,
                    const std::vector<EnvChange>& env, const std::string& working_folder,
                    HANDLE output) {
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    startup.hStdOutput = startup.hStdError = output;
    std::string command = quote(path);
    for (const auto& a : args) command += " " + quote(a);
    // The child inherits this process's environment, changed for its start.
    std::vector<EnvChange> before;
    for (const auto& [name, value] : env) {
        const char* was = getenv(name.c_str());
        before.push_back({name, was != nullptr ? std::optional<std::string>(was) : std::nullopt});
        set_environment(name, value);
    }
    HANDLE child = nullptr;
    for (int attempt = 0; attempt < 20 && child == nullptr; ++attempt) {
        std::string line = command;
        PROCESS_INFORMATION process{};
        if (CreateProcessA(path.c_str(), line.data(), nullptr, nullptr, TRUE, 0, nullptr,
                           working_folder.empty() ? nullptr : working_folder.c_str(), &startup,
                           &process)) {
            CloseHandle(process.hThread);
            child = process.hProcess;
        } else if (GetLastError() != ERROR_INTERNAL_ERROR) {
            break;  // a missing program stays missing
        } else {
            Sleep(100);
        }
    }
    for (auto undo = before.rbegin(); undo != before.rend(); ++undo)
        set_environment(undo->first, undo->second);
    return child;
}

}  // namespace

int reap_process(long long handle) {
    HANDLE process = reinterpret_cast<HANDLE>(handle);
    WaitForSingleObject(process, INFINITE);
    DWORD code = 0;
    GetExitCodeProcess(process, &code);
    CloseHandle(process);
    return static_cast<int>(code);
}
void end_process(long long handle) { TerminateProcess(reinterpret_cast<HANDLE>(handle), 9); }

Child start_program(const std::string& path, const std::vector<std::string>& args,
                    const std::vector<EnvChange>& env, const std::string& output_path,
                    const std::string& working_folder) {
    SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
    HANDLE out = CreateFileA(output_path.empty() ? "NUL" : output_path.c_str(), FILE_APPEND_DATA,
                             FILE_SHARE_READ | FILE_SHARE_WRITE, &inherit, OPEN_ALWAYS,
                             FILE_ATTRIBUTE_NORMAL, nullptr);
    HANDLE process = create_child(path, args, env, working_folder, out);
    if (out != INVALID_HANDLE_VALUE) CloseHandle(out);
    return {reinterpret_cast<long long>(process), process != nullptr,
            process != nullptr ? GetProcessId(process) : 0};
}

bool run_in_forked_child(const std::function<void()>&) { return false; }

std::vector<EnvChange> temp_folder_env(const std::string& folder) {
    return {{"TMP", folder}, {"TEMP", folder}};
}
std::string data_file_folder(const std::string& temp) { return temp; }

std::string exit_output_path() { return "c:\\temp\\mirt_exit.out"; }
std::string index_file_path() { return "c:/temp/index.txt"; }
std::string error_log_path() { return "c:/temp/mirt_err.txt"; }
// Windows has none; under Wine the Linux one is reached through drive Z:.
std::string full_device_path() {
    HMODULE ntdll = GetModuleHandleA("ntdll.dll");
    return ntdll != nullptr && GetProcAddress(ntdll, "wine_get_version") != nullptr
               ? "Z:\\dev\\full"
               : "";
}

// The system puts the name in every process's environment.
std::string computer_name() {
    const char* name = getenv("COMPUTERNAME");
    return name != nullptr ? name : "";
}
std::string profile_variable() { return "USERPROFILE"; }

// Both copies of the environment: the system's, which ExpandEnvironmentStringsA
// reads, and the C runtime's ("NAME=" removes it there).
void set_environment(const std::string& name, const std::optional<std::string>& value) {
    SetEnvironmentVariableA(name.c_str(), value ? value->c_str() : nullptr);
    _putenv((name + "=" + value.value_or("")).c_str());
}

bool pump_until(const std::function<bool()>& done, unsigned timeout_ms) {
    DWORD start = GetTickCount();
    while (!done()) {
        DWORD spent = GetTickCount() - start;
        if (spent >= timeout_ms) return false;
        // One message at a time: a tick longer than its interval would
        // otherwise keep the dispatch busy for ever.
        MsgWaitForMultipleObjectsEx(0, nullptr, timeout_ms - spent < 5 ? timeout_ms - spent : 5,
                                    QS_ALLINPUT, MWMO_INPUTAVAILABLE);
        MSG message;
        if (PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageA(&message);
    }
    return true;
}

}  // namespace mirt_test
