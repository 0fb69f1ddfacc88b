// Calls the library's exports by their Microsoft-decorated names, as a program built by that compiler would.
#include <gtest/gtest.h>

#include "mirt64.h"
#include "windows_api.h"

namespace {

class MsvcExports : public ::testing::Test {
protected:
    void SetUp() override {
        dll = LoadLibraryA("mirt64.dll");
        ASSERT_NE(dll, nullptr);
        // No exit file when the DLL is unloaded.
        get<void (*)(bool)>("c_mirt_allow_shutdown_writing")(false);
    }
    void TearDown() override {
        if (dll != nullptr) FreeLibrary(dll);
    }
    template <typename F>
    F get(const char* name) {
        FARPROC p = GetProcAddress(dll, name);
        EXPECT_NE(p, nullptr) << name;
        return reinterpret_cast<F>(reinterpret_cast<void*>(p));
    }
    HMODULE dll = nullptr;
};

}  // namespace

TEST_F(MsvcExports, ConstructorReturnsThisAndAssignmentItsObject) {
    using Construct = void* (*)(void* self, char* name, int line);
    using Destroy = void (*)(void* self);
    using Assign = void* (*)(void* self, const void* other);
    auto construct = get<Construct>("??0mirt_obj@@QEAA@PEADH@Z");
    auto destroy = get<Destroy>("??1mirt_obj@@QEAA@XZ");
    auto assign = get<Assign>("??4mirt_obj@@QEAAAEAU0@AEBU0@@Z");
    ASSERT_TRUE(construct && destroy && assign);
    static char name[] = "msvc.cpp";
    alignas(8) int first[2] = {-1, 0x5a5a5a5a}, second[2] = {-1, 0x5a5a5a5a};
    EXPECT_EQ(construct(first, name, 11), static_cast<void*>(first));
    EXPECT_EQ(construct(second, name, 12), static_cast<void*>(second));
    EXPECT_EQ(second[1], 0x5a5a5a5a);  // the object is one 32-bit field
    second[0] = 42;
    EXPECT_EQ(assign(first, second), static_cast<void*>(first));
    EXPECT_EQ(first[0], 42);
    destroy(second);
    destroy(first);
}

TEST_F(MsvcExports, DecoratedNamesReachTheSameFunctionsAsGnuAndCNames) {
    const char* same[][3] = {
        {"?mirt_fn@@YAHPEADH@Z", "_Z7mirt_fnPci", "c_mirt_fn"},
        {"?mirt_set_test_name@@YAXPEADH0@Z", "_Z18mirt_set_test_namePciS_", "c_mirt_set_test_name"},
        {"?mirt_allow_shutdown_writing@@YAX_N@Z", "_Z27mirt_allow_shutdown_writingb", "c_mirt_allow_shutdown_writing"},
        {"?mirt_reg@@YAHPEADHPEAHPEA_J@Z", "_Z8mirt_regPciPiPx", "c_mirt_reg"},
        {"?mirt_reg2@@YAPEA_JPEADHPEAH@Z", "_Z9mirt_reg2PciPi", "c_mirt_reg2"},
        {"?mirt_clear_coverage_data@@YAXXZ", "_Z24mirt_clear_coverage_datav", "c_mirt_clear_coverage_data"},
        {"?mirt_fn2@@YAHPEADH@Z", "_Z8mirt_fn2Pci", "c_mirt_fn2"},
        // mirt_fn22 and c_mirt_fn2 are one code address.
        {"?mirt_fn22@@YAXPEADH@Z", "_Z9mirt_fn22Pci", "c_mirt_fn2"},
    };
    EXPECT_EQ(GetProcAddress(dll, "?mirt_write_coverage_data@@YAXPEBD@Z"),
              GetProcAddress(dll, "_Z24mirt_write_coverage_dataPKc"));
    EXPECT_NE(GetProcAddress(dll, "c_mirt_write_coverage_data"), nullptr);
    for (auto& names : same) {
        FARPROC decorated = GetProcAddress(dll, names[0]);
        EXPECT_NE(decorated, nullptr) << names[0];
        EXPECT_EQ(decorated, GetProcAddress(dll, names[1])) << names[1];
        EXPECT_EQ(decorated, GetProcAddress(dll, names[2])) << names[2];
    }
    EXPECT_EQ(GetProcAddress(dll, "?mirt_fn@@YAHH@Z"), GetProcAddress(dll, "_Z7mirt_fni"));
}
