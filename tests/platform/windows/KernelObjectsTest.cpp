#include <aclapi.h>
#include <algorithm>
#include <gtest/gtest.h>
#include <sddl.h>
#include <thread>
#include <windows.h>

#include "AccessList.h"
#include "Handle.h"
#include "Wide.h"
#include "platform/NamedMutex.h"
#include "support/PlatformFolder.h"

using namespace Platform;
using namespace std::chrono_literals;

namespace {

TEST(KernelObjects, AMutexWhoseOwnerDiedIsAcquired) {
    const auto mutex = NamedMutex::create(u"Global\\Corvane.abandoned", u"C:\\");
    ASSERT_TRUE(mutex);
    std::thread([&] { EXPECT_TRUE(mutex->acquire(0ms)); }).join();
    EXPECT_TRUE(mutex->acquire(0ms));
    mutex->release();
}

// Whoever can wait for a mutex can keep it from the others.
TEST(KernelObjects, AMutexIsForThoseAloneWhoMayChangeTheFilesThatItGuards) {
    const Support::PlatformFolder folder;
    const std::u16string guarded = folder.portable() + u"\\guarded";
    NewAccess access(
        u"D:P(A;OICI;FA;;;BA)(A;OICI;0x1301bf;;;S-1-5-21-1-2-3-1001)"
        u"(A;OICI;0x1200a9;;;S-1-5-21-1-2-3-1002)(A;CI;0x1301bf;;;S-1-5-21-1-2-3-1003)"
        u"(A;OICI;0x1301bf;;;WD)");
    ASSERT_TRUE(CreateDirectoryW(wide(guarded), access.attributes()));
    const std::u16string writer = u"S-1-5-21-1-2-3-1001";
    const auto mutex = NamedMutex::create(u"Corvane.guarding", guarded + u"\\not yet");
    ASSERT_TRUE(mutex);

    const Handle same(OpenMutexW(READ_CONTROL, FALSE, L"Corvane.guarding"));
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    wchar_t* text = nullptr;
    ASSERT_EQ(GetSecurityInfo(same.get(), SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                              nullptr, nullptr, &descriptor),
              0u);
    ASSERT_TRUE(ConvertSecurityDescriptorToStringSecurityDescriptorW(
        descriptor, SDDL_REVISION_1, DACL_SECURITY_INFORMATION, &text, nullptr));
    const std::u16string list = narrow(text);
    LocalFree(text);
    LocalFree(descriptor);
    const auto names = [&](const std::u16string& part) { return list.find(part) != list.npos; };
    EXPECT_TRUE(names(u";SY)"));
    EXPECT_TRUE(names(u";BA)"));
    EXPECT_FALSE(names(u"-1002)"));
    EXPECT_FALSE(names(u"-1003)"));
    EXPECT_FALSE(names(u";WD)"));
    // Wine keeps no more of a folder's list than fits a mode.
    const auto security = FileSecurity::of(guarded);
    const bool kept =
        std::ranges::any_of(security->grants, [&](const Grant& each) { return each.account == writer; });
    EXPECT_EQ(names(u"(A;;0x100001;;;" + writer + u")"), kept);
}

}  // namespace
