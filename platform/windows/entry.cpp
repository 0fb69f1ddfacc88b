// entry.cpp (Windows): the DLL entry point runs attach and detach. This file holds only Windows code.
#include "platform/entry.h"
#include "platform/windows/windows_api.h"

// The C runtime's start-up has already run the C++ static initialisers when
// this is called for the attach, and runs the static destructors after the
// detach returns.
// A detach with reserved set comes from a process that is ending: its other
// threads are already gone.
extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID reserved) {
    switch (reason) {
    case DLL_PROCESS_ATTACH:
        mirt::platform::library_loaded();
        break;
    case DLL_PROCESS_DETACH:
        mirt::platform::library_unloading(reserved != nullptr);
        break;
    default:
        break;
    }
    return TRUE;
}
