// os_support.cpp (Windows): child processes, program paths, computer name, environment and
// the message loop for the tests. This file holds only Windows code.
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>

#include "test_support.h"
#include "windows_api.h"

namespace fs = std::filesystem;

namespace mirt_test {

char separator() { return '\\'; }

std::string executable_name(const std::string& name) { return name + ".exe"; }

std::string program_folder() {
    char path[MAX_PATH];
    DWORD n = GetModuleFileNameA(nullptr, path, MAX_PATH);
    if (n == 0 || n >= MAX_PATH) return ".";
    return fs::path(path).parent_path().string();
}

std::string make_temp_folder(const std::string& tag) {
    char temp[MAX_PATH];
    GetTempPathA(MAX_PATH, temp);
    for (unsigned attempt = 0; attempt < 1000; ++attempt) {
        std::string path = std::string(temp) + "mirt-test-" + tag + "-" + std::to_string(GetCurrentProcessId()) + "-" +
                           std::to_string(GetTickCount() + attempt);
        if (CreateDirectoryA(path.c_str(), nullptr)) return path;
    }
    return "";
}

void remove_tree(const std::string& path) {
    std::error_code ignored;
    fs::remove_all(path, ignored);
}

std::string copy_program(const std::string& program, const std::string& folder, const std::string& new_name) {
    std::string target = join(folder, new_name);
    fs::copy_file(join(program_folder(), executable_name(program)), target, fs::copy_options::overwrite_existing);
    // The runtime DLL is found beside the program.
    std::string dll = join(program_folder(), "mirt64.dll");
    if (fs::exists(dll)) fs::copy_file(dll, join(folder, "mirt64.dll"), fs::copy_options::overwrite_existing);
    return target;
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
        if (c == '"') quoted.append(backslashes * 2 + 1, '\\');
        else quoted.append(backslashes, '\\');
        backslashes = 0;
        quoted += c;
    }
    quoted.append(backslashes * 2, '\\');
    return quoted + "\"";
}

// The current environment with the changes applied, as a block for CreateProcessA.
std::string environment_block(const std::vector<EnvChange>& changes) {
    std::map<std::string, std::string, bool (*)(const std::string&, const std::string&)> vars(
        [](const std::string& a, const std::string& b) { return _stricmp(a.c_str(), b.c_str()) < 0; });
    char* block = GetEnvironmentStringsA();
    for (char* p = block; *p != '\0'; p += strlen(p) + 1) {
        char* eq = strchr(p + 1, '=');
        if (eq == nullptr) continue;
        vars[std::string(p, static_cast<size_t>(eq - p))] = eq + 1;
    }
    FreeEnvironmentStringsA(block);
    for (const auto& change : changes) {
        if (change.second) vars[change.first] = *change.second;
        else vars.erase(change.first);
    }
    std::string result;
    for (const auto& v : vars) result += v.first + "=" + v.second + '\0';
    result += '\0';
    return result;
}

// Starts the program with its standard output and error on `output` (an
// inheritable handle) and returns its process handle, or nullptr. Under
// Wine, starting many processes at once now and then fails for a moment
// (ERROR 1359): the start is tried again.
HANDLE create_child(const std::string& path, const std::vector<std::string>& args, const std::vector<EnvChange>& env,
                    const std::string& working_folder, HANDLE output) {
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    startup.hStdOutput = output;
    startup.hStdError = output;
    std::string command = quote(path);
    for (const auto& a : args) command += " " + quote(a);
    std::string environment = environment_block(env);
    for (int attempt = 0; attempt < 20; ++attempt) {
        std::string line = command;
        PROCESS_INFORMATION process{};
        if (CreateProcessA(path.c_str(), line.data(), nullptr, nullptr, TRUE, 0, environment.data(),
                           working_folder.empty() ? nullptr : working_folder.c_str(), &startup, &process)) {
            CloseHandle(process.hThread);
            return process.hProcess;
        }
        if (GetLastError() != ERROR_INTERNAL_ERROR) break;  // a missing program stays missing
        Sleep(100);
    }
    return nullptr;
}
}  // namespace

RunResult run_program(const std::string& path, const std::vector<std::string>& args, const std::vector<EnvChange>& env,
                      const std::string& working_folder) {
    RunResult result;
    SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
    HANDLE read_end = nullptr, write_end = nullptr;
    if (!CreatePipe(&read_end, &write_end, &inherit, 0)) return result;
    SetHandleInformation(read_end, HANDLE_FLAG_INHERIT, 0);
    HANDLE process = create_child(path, args, env, working_folder, write_end);
    CloseHandle(write_end);
    if (process == nullptr) {
        CloseHandle(read_end);
        return result;
    }
    char buffer[4096];
    DWORD n = 0;
    while (ReadFile(read_end, buffer, sizeof buffer, &n, nullptr) && n > 0) result.output.append(buffer, n);
    CloseHandle(read_end);
    WaitForSingleObject(process, INFINITE);
    DWORD code = 0;
    GetExitCodeProcess(process, &code);
    result.exit_code = static_cast<int>(code);
    CloseHandle(process);
    return result;
}

Child start_program(const std::string& path, const std::vector<std::string>& args, const std::vector<EnvChange>& env,
                    const std::string& output_path) {
    Child result;
    SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
    HANDLE out = CreateFileA(output_path.empty() ? "NUL" : output_path.c_str(), FILE_APPEND_DATA,
                             FILE_SHARE_READ | FILE_SHARE_WRITE, &inherit, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (HANDLE process = create_child(path, args, env, "", out)) {
        result.handle = reinterpret_cast<long long>(process);
        result.started = true;
    }
    if (out != INVALID_HANDLE_VALUE) CloseHandle(out);
    return result;
}

int wait_program(Child& child) {
    if (!child.started) return -1;
    HANDLE process = reinterpret_cast<HANDLE>(child.handle);
    WaitForSingleObject(process, INFINITE);
    DWORD code = 0;
    GetExitCodeProcess(process, &code);
    CloseHandle(process);
    child.started = false;
    return static_cast<int>(code);
}

void kill_program(Child& child) {
    if (!child.started) return;
    TerminateProcess(reinterpret_cast<HANDLE>(child.handle), 9);
    wait_program(child);
}

// Through ntdll's NtSuspendProcess and NtResumeProcess, which Wine has too.
void suspend_program(Child& child, bool suspended) {
    using Call = LONG(WINAPI*)(HANDLE);
    FARPROC call = GetProcAddress(GetModuleHandleA("ntdll.dll"), suspended ? "NtSuspendProcess" : "NtResumeProcess");
    if (child.started && call != nullptr) reinterpret_cast<Call>(reinterpret_cast<void*>(call))(reinterpret_cast<HANDLE>(child.handle));
}

}  // namespace mirt_test

namespace mirt_test {
std::string exit_output_path() { return "c:\\temp\\mirt_exit.out"; }
std::string index_file_path() { return "c:/temp/index.txt"; }
std::string error_log_path() { return "c:/temp/mirt_err.txt"; }
// Windows has no such device; under Wine the Linux one is reached through
// drive Z:, which maps the root folder.
std::string full_device_path() {
    HMODULE ntdll = GetModuleHandleA("ntdll.dll");
    bool wine = ntdll != nullptr && GetProcAddress(ntdll, "wine_get_version") != nullptr;
    return wine ? "Z:\\dev\\full" : "";
}
}  // namespace mirt_test

namespace mirt_test {
std::vector<EnvChange> temp_folder_env(const std::string& folder) { return {{"TMP", folder}, {"TEMP", folder}}; }
std::string data_file_folder(const std::string& temp) { return temp; }
}  // namespace mirt_test

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
