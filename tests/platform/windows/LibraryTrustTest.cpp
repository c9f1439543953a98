#include <array>
#include <gtest/gtest.h>
#include <stdexcept>
#include <windows.h>
// The certificate calls need the base types above.
#include <wincrypt.h>

#include <brevant/event_sink.h>

#include "platform/Components.h"
#include "platform/DynamicLibrary.h"
#include "platform/Files.h"
#include "platform/VersionResource.h"
#include "support/Beside.h"
#include "support/PlatformFolder.h"

using namespace Platform;

namespace {

// The libraries of the tests are not signed: the machine's check is off but for the tests that turn it on.
void verify(DWORD value) {
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\CORVANE\\OSTREL", L"Verify Libraries", REG_DWORD, &value,
                    sizeof value);
}

// Puts a certificate among the roots that the machine trusts, for as long as it lives.
class TrustedRoot {
public:
    explicit TrustedRoot(const std::string& certificate) {
        const auto* bytes = reinterpret_cast<const BYTE*>(certificate.data());
        const auto size = static_cast<DWORD>(certificate.size());
        std::array<BYTE, 20> hash;
        DWORD hashSize = hash.size();
        if (!CryptHashCertificate(0, CALG_SHA1, 0, bytes, size, hash.data(), &hashSize))
            throw std::runtime_error("cannot name the root");
        for (const BYTE byte : hash) {
            for (const int digit : {byte >> 4, byte & 15})
                key_ += L"0123456789ABCDEF"[digit];
        }
        const HCERTSTORE store =
            CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, CERT_SYSTEM_STORE_LOCAL_MACHINE, L"ROOT");
        const bool added = CertAddEncodedCertificateToStore(store, X509_ASN_ENCODING, bytes, size,
                                                            CERT_STORE_ADD_REPLACE_EXISTING, nullptr);
        // The store is written when it closes, and does not close while a certificate of it is held.
        if (!CertCloseStore(store, CERT_CLOSE_STORE_CHECK_FLAG) || !added)
            throw std::runtime_error("cannot add the root");
    }
    // Not every system writes it down when a certificate is deleted from the open store.
    ~TrustedRoot() { RegDeleteTreeW(HKEY_LOCAL_MACHINE, key_.c_str()); }
    TrustedRoot(const TrustedRoot&) = delete;
    TrustedRoot& operator=(const TrustedRoot&) = delete;

private:
    std::wstring key_ = L"SOFTWARE\\Microsoft\\SystemCertificates\\ROOT\\Certificates\\";
};

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
    const std::u16string sealed = beside(u"test_component_signed.dll");
    static constexpr const char* notSealed = "openssl and osslsigncode were missing when this was built";
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
    if (!fileExists(sealed))
        GTEST_SKIP() << notSealed;
    verify(1);
    expectRefused(sealed, 0x800B0109u);
    expectRefused(beside(u"test_component_unchained.dll"), 0x800B010Au);
    Support::PlatformFolder folder;
    std::string bytes = readFile(sealed).value();
    bytes[bytes.size() / 2] ^= 1;
    folder.write("tampered.dll", bytes);
    expectRefused(folder.portable() + u"\\tampered.dll", 0x80096010u);
}

TEST_F(LibraryTrust, IsGivenToASignerWhoseRootTheMachineTrusts) {
    if (!fileExists(sealed))
        GTEST_SKIP() << notSealed;
    if (!Support::PlatformFolder().isOwnMachine())
        GTEST_SKIP() << Support::PlatformFolder::notOwnMachine;
    verify(1);
    // A process may keep the roots that it found first: each look is a new process's.
    const auto look = [&](const std::u16string& library) {
        const bool trusted = verifyLibraryTrust(library) && loadLibrary(library);
        std::exit(trusted ? 0 : static_cast<int>(lastError()));
    };
    {
        const TrustedRoot root(readFile(beside(u"test_root.cer")).value());
        EXPECT_EXIT(look(sealed), testing::ExitedWithCode(0), "");
        EXPECT_EXIT(look(beside(u"test_component_expired.dll")),
                    testing::ExitedWithCode(static_cast<int>(0x800B0101u)), "");
    }
    EXPECT_EXIT(look(sealed), testing::ExitedWithCode(static_cast<int>(0x800B0109u)), "");
}

TEST_F(LibraryTrust, GatesTheTrustedCreationOfComponents) {
    Support::PlatformFolder machine;
    if (!machine.isOwnMachine())
        GTEST_SKIP() << machine.notOwnMachine;
    machine.registerComponent(BREVANT_EVENT_SINK_CLASS_ID_TEXT, path);
    const ComponentThread thread;
    void* object = this;
    const Guid sinkClassId = parseGuid(u"" BREVANT_EVENT_SINK_CLASS_ID_TEXT).value();
    const Guid sinkId = parseGuid(u"" BREVANT_EVENT_SINK_INTERFACE_ID_TEXT).value();
    verify(1);
    EXPECT_EQ(createTrustedComponent(sinkClassId, sinkId, &object), componentAccessDenied);
    EXPECT_EQ(object, nullptr);
    verify(0);
    for (const auto create : {createTrustedComponent, createComponent}) {
        ASSERT_EQ(create(sinkClassId, sinkId, &object), 0);
        auto* sink = static_cast<ILegacyEventSink*>(object);
        sink->functions->Release(sink);
    }
    machine.writeRegistry("");
    EXPECT_EQ(createComponent(sinkClassId, sinkClassId, &object), componentNotRegistered);
}

TEST(VersionResources, TellTheVersionOfAFileThatHasOne) {
    EXPECT_EQ(fileVersion(beside(u"test_component.dll")), u"2.1.0");
    EXPECT_FALSE(fileVersion(executablePath()));
    EXPECT_FALSE(fileVersion(beside(u"missing.dll")));
}

}  // namespace
