#include <aclapi.h>
#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <gtest/gtest.h>
#include <mutex>
#include <sddl.h>
#include <thread>
#include <vector>
#include <windows.h>
// The tracing header needs the base types above.
#include <evntrace.h>

#include "AccessList.h"
#include "Handle.h"
#include "Wide.h"
#include "platform/NamedMutex.h"
#include "platform/TraceProvider.h"
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

// A trace session of the test's own, if the system has sessions at all.
class TraceSession {
public:
    TraceSession() {
        properties_.head.Wnode.BufferSize = sizeof properties_;
        properties_.head.Wnode.Flags = WNODE_FLAG_TRACED_GUID;
        properties_.head.LogFileMode = EVENT_TRACE_REAL_TIME_MODE;
        properties_.head.LoggerNameOffset = offsetof(Properties, name);
        started_ = StartTraceW(&handle_, name, &properties_.head) == ERROR_SUCCESS;
    }
    ~TraceSession() { ControlTraceW(handle_, name, &properties_.head, EVENT_TRACE_CONTROL_STOP); }
    bool enable(const GUID& provider, bool on, ULONG level) {
        return started_ && EnableTrace(on, 0, level, &provider, handle_) == ERROR_SUCCESS;
    }

private:
    struct Properties {
        EVENT_TRACE_PROPERTIES head;
        wchar_t name[64];
    };
    static constexpr const wchar_t* name = L"Brevant tests";
    Properties properties_{};
    TRACEHANDLE handle_ = 0;
    bool started_ = false;
};

TEST(KernelObjects, ATraceProviderFollowsItsSession) {
    constexpr Guid id{0x6B1F0C3E, 0x52D7, 0x4A19, {0x8E, 1, 2, 3, 4, 5, 6, 7}};
    GUID native;
    std::memcpy(&native, &id, sizeof native);
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::pair<bool, uint32_t>> told;
    auto provider = TraceProvider::create(id, {1, 2, 4, {}}, [&](bool enabled, uint32_t level) {
        std::lock_guard lock(mutex);
        told.emplace_back(enabled, level);
        changed.notify_all();
    });
    ASSERT_TRUE(provider->start());
    const auto toldOf = [&](size_t count) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, 5s, [&] { return told.size() >= count; });
    };
    TraceSession session;
    // Wine registers providers and does nothing more with them.
    const bool sessions = !GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version");
    if (!sessions)
        GTEST_SKIP() << "Wine has no trace sessions: nobody enables a provider there";
    ASSERT_TRUE(session.enable(native, true, 4));
    ASSERT_TRUE(toldOf(1));
    EXPECT_EQ(told[0], (std::pair<bool, uint32_t>(true, 4)));
    ASSERT_TRUE(session.enable(native, false, 0));
    ASSERT_TRUE(toldOf(2));
    EXPECT_FALSE(told[1].first);
    provider->stop();
    session.enable(native, true, 4);
    EXPECT_EQ(told.size(), 2u) << "an ended provider is told nothing";
}

}  // namespace
