// threads.cpp (Windows): thread creation and sleeping. This file holds only Windows code.
#include "threads.h"

#include <new>

#include "windows_api.h"

namespace mirt::platform {

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

bool start_thread(void (*fn)(void*), void* arg) {
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

}  // namespace mirt::platform
