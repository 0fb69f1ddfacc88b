// Calls the library's exports by their Microsoft-decorated names, as a program built by
// that compiler would. (check_exports.sh joins every name to its code.)
#include <gtest/gtest.h>

#include "platform/windows/windows_api.h"

// The object is one 32-bit field; the constructor returns this, the
// assignment its object.
TEST(MsvcExports, ConstructorReturnsThisAndAssignmentItsObject) {
    HMODULE dll = LoadLibraryA("mirt64.dll");
    ASSERT_NE(dll, nullptr);
    auto get = [dll](const char* name) {
        FARPROC p = GetProcAddress(dll, name);
        EXPECT_NE(p, nullptr) << name;
        return reinterpret_cast<void*>(p);
    };
    // No exit file when the DLL is unloaded.
    reinterpret_cast<void (*)(bool)>(get("c_mirt_allow_shutdown_writing"))(false);
    auto construct =
        reinterpret_cast<void* (*)(void*, char*, int)>(get("??0mirt_obj@@QEAA@PEADH@Z"));
    auto destroy = reinterpret_cast<void (*)(void*)>(get("??1mirt_obj@@QEAA@XZ"));
    auto assign =
        reinterpret_cast<void* (*)(void*, const void*)>(get("??4mirt_obj@@QEAAAEAU0@AEBU0@@Z"));
    ASSERT_TRUE(construct && destroy && assign);
    static char name[] = "msvc.cpp";
    alignas(8) int first[2] = {-1, 0x5a5a5a5a}, second[2] = {-1, 0x5a5a5a5a};
    EXPECT_EQ(construct(first, name, 11), static_cast<void*>(first));
    EXPECT_EQ(construct(second, name, 12), static_cast<void*>(second));
    EXPECT_EQ(second[1], 0x5a5a5a5a);
    second[0] = 42;
    EXPECT_EQ(assign(first, second), static_cast<void*>(first));
    EXPECT_EQ(first[0], 42);
    destroy(second);
    destroy(first);
    FreeLibrary(dll);
}
