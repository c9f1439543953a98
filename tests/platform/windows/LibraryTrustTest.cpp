#include <filesystem>
#include <gtest/gtest.h>
#include <windows.h>

#include "../component/Beside.h"
#include "../component/CountingComponent.h"
#include "platform/Components.h"
#include "platform/DynamicLibrary.h"
#include "platform/Files.h"
#include "platform/VersionResource.h"
#include "support/PlatformFolder.h"

using namespace Platform;

namespace {

constexpr const wchar_t* switchKey = L"SOFTWARE\\CORVANE\\OSTREL";

void verify(DWORD value) {
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, switchKey, L"Verify Libraries", REG_DWORD, &value, sizeof value);
}

// The libraries of the tests are not signed: the check is off but for the tests that turn it on.
class CheckIsOff : public testing::Environment {
public:
    void SetUp() override {
        DWORD size = sizeof before_;
        had_ = RegGetValueW(HKEY_LOCAL_MACHINE, switchKey, L"Verify Libraries", RRF_RT_REG_DWORD, nullptr,
                            &before_, &size) == ERROR_SUCCESS;
        verify(0);
    }
    void TearDown() override {
        if (had_)
            verify(before_);
        else
            RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, switchKey, L"Verify Libraries");
    }

private:
    DWORD before_ = 1;
    bool had_ = false;
};

const testing::Environment* const checkIsOff = testing::AddGlobalTestEnvironment(new CheckIsOff);

class LibraryTrust : public testing::Test {
protected:
    ~LibraryTrust() override { verify(0); }
    void expectRefused(const std::u16string& library, uint32_t reason) {
        for (const bool loads : {false, true}) {
            EXPECT_FALSE(loads ? loadLibrary(library) != nullptr : verifyLibraryTrust(library));
            EXPECT_EQ(lastError(), reason);
        }
    }

    const std::u16string path = beside(u"test_component.dll");
};

TEST_F(LibraryTrust, IsRefusedToAnUnsignedLibraryUnlessItIsNotAskedFor) {
    verify(1);
    expectRefused(path, 0x800B0100u);
    expectRefused(path + u".missing", 2);
    verify(0);
    EXPECT_TRUE(verifyLibraryTrust(path));
    EXPECT_FALSE(verifyLibraryTrust(u""));
}

// The system's own verdict may pass a signer whose root nobody trusts.
TEST_F(LibraryTrust, IsRefusedToAnUntrustedSignerAndToABrokenSignature) {
    const std::u16string sealed = beside(u"test_component_signed.dll");
    if (!fileExists(sealed))
        GTEST_SKIP() << "openssl and osslsigncode were missing when this was built";
    verify(1);
    expectRefused(sealed, 0x800B0109u);
    Support::PlatformFolder folder;
    std::string bytes = readFile(sealed).value();
    bytes[bytes.size() / 2] ^= 1;
    folder.write("tampered.dll", bytes);
    expectRefused(folder.portable() + u"\\tampered.dll", 0x80096010u);
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
