// threads.cpp (Windows): thread creation, sleeping and the lock. This file holds only Windows code.
#include "platform/threads.h"

#include <new>

#include "platform/windows/windows_api.h"

namespace mirt::platform {

// At process exit the other threads are gone before the detach; a library
// unloaded while the process runs has no probing module left to call it.
const bool probes_may_run_at_detach = false;

namespace {
struct ThreadStart {
    void (*fn)(void*);
    void* arg;
};

DWORD WINAPI thread_main(LPVOID parameter) {
    ThreadStart start = *static_cast<ThreadStart*>(parameter);
    delete static_cast<ThreadStart*>(parameter);
    start.fn(start.arg);
    return 0;
}
}  // namespace

// A library with threads of its own stays loaded until the process ends:
// FreeLibrary would otherwise leave them waiting in code that is gone, and
// the detach cannot wait for them under the loader's lock.
bool start_thread(void (*fn)(void*), void* arg) {
    static bool pinned = false;
    if (!pinned) {
        HMODULE self = nullptr;
        pinned = GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                                    reinterpret_cast<LPCSTR>(&start_thread), &self) != 0;
    }
    auto* start = new (std::nothrow) ThreadStart{fn, arg};
    if (start == nullptr) return false;
    HANDLE thread = CreateThread(nullptr, 0, thread_main, start, 0, nullptr);
    if (thread == nullptr) {
        delete start;
        return false;
    }
    CloseHandle(thread);  // never joined
    return true;
}

void sleep_ms(unsigned milliseconds) { Sleep(milliseconds); }

static_assert(sizeof(CRITICAL_SECTION) <= 40 && alignof(CRITICAL_SECTION) <= 8, "the lock's storage holds a critical section");

namespace {
CRITICAL_SECTION* section(unsigned char* storage) { return reinterpret_cast<CRITICAL_SECTION*>(storage); }
}  // namespace

void Lock::init() { InitializeCriticalSection(section(section_)); }
void Lock::destroy() { DeleteCriticalSection(section(section_)); }
void Lock::lock() { EnterCriticalSection(section(section_)); }
void Lock::unlock() { LeaveCriticalSection(section(section_)); }

}  // namespace mirt::platform
