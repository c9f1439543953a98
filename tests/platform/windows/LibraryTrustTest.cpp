#include <filesystem>
#include <gtest/gtest.h>
#include <windows.h>

#include "../component/CountingComponent.h"
#include "platform/Components.h"
#include "platform/DynamicLibrary.h"
#include "platform/Files.h"
#include "platform/Process.h"
#include "platform/VersionResource.h"

using namespace Platform;

namespace {

constexpr const wchar_t* switchKey = L"SOFTWARE\\CORVANE\\OSTREL";

// Turns the check on or off for one test, and back to what it was.
class LibraryTrust : public testing::Test {
protected:
    LibraryTrust() {
        DWORD size = sizeof before;
        had = RegGetValueW(HKEY_LOCAL_MACHINE, switchKey, L"Verify Libraries", RRF_RT_REG_DWORD, nullptr,
                           &before, &size) == ERROR_SUCCESS;
    }
    ~LibraryTrust() override {
        if (had)
            verify(before);
        else
            RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, switchKey, L"Verify Libraries");
    }
    void verify(DWORD value) {
        RegSetKeyValueW(HKEY_LOCAL_MACHINE, switchKey, L"Verify Libraries", REG_DWORD, &value, sizeof value);
    }

    std::u16string path = portablePath(
        std::filesystem::path(nativePath(executablePath())).replace_filename("test_component.dll").string());
    DWORD before = 1;
    bool had = false;
};

TEST_F(LibraryTrust, IsRefusedToAnUnsignedLibrary) {
    verify(1);
    EXPECT_FALSE(verifyLibraryTrust(path));
    EXPECT_EQ(lastError(), 0x800B0100u);
    EXPECT_FALSE(loadLibrary(path));
    EXPECT_EQ(lastError(), 0x800B0100u);
    EXPECT_FALSE(verifyLibraryTrust(path + u".missing"));
    EXPECT_EQ(lastError(), 2u);
}

TEST_F(LibraryTrust, IsNotAskedForWhileTheRegistrySaysSo) {
    verify(0);
    EXPECT_TRUE(verifyLibraryTrust(path));
    EXPECT_FALSE(verifyLibraryTrust(u""));
    const LibraryHandle library = loadLibrary(path);
    EXPECT_TRUE(library);
    freeLibrary(library);
}

TEST_F(LibraryTrust, GatesTheTrustedCreationOfComponents) {
    const std::wstring key = L"SOFTWARE\\Classes\\CLSID\\{5A1B2C3D-1111-2222-0102-030405060708}";
    const std::wstring server = key + L"\\InprocServer32";
    ASSERT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, server.c_str(), nullptr, REG_SZ, path.c_str(),
                              static_cast<DWORD>(2 * path.size() + 2)),
              ERROR_SUCCESS);
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, server.c_str(), L"ThreadingModel", REG_SZ, L"Both", 10);
    const ComponentThread thread;
    void* object = this;
    verify(1);
    EXPECT_EQ(createTrustedComponent(countingClassId, textLengthId, &object), componentAccessDenied);
    EXPECT_EQ(object, nullptr);
    verify(0);
    for (const auto create : {createTrustedComponent, createComponent}) {
        ASSERT_EQ(create(countingClassId, textLengthId, &object), 0);
        auto* component = static_cast<TextLength*>(object);
        char16_t* text = allocateComponentText(std::u16string_view(u"a\0b", 3));
        EXPECT_EQ(component->functions->lengthOf(component, text), 3);
        freeComponentText(text);
        component->functions->release(component);
    }
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, key.c_str());
    EXPECT_EQ(createComponent(countingClassId, countingClassId, &object), componentNotRegistered);
}

TEST(VersionResources, AreMissingFromAFileWithoutOne) {
    EXPECT_FALSE(fileVersion(executablePath()));
}

}  // namespace
