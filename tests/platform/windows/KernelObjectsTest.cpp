#include <condition_variable>
#include <cstring>
#include <gtest/gtest.h>
#include <mutex>
#include <thread>
#include <vector>
#include <windows.h>
// The tracing header needs the base types above.
#include <evntrace.h>

#include "platform/NamedMutex.h"
#include "platform/TraceProvider.h"

using namespace Platform;
using namespace std::chrono_literals;

namespace {

TEST(KernelObjects, AMutexWhoseOwnerDiedIsAcquired) {
    const auto mutex = NamedMutex::create(u"Global\\Corvane.abandoned");
    ASSERT_TRUE(mutex);
    std::thread([&] { EXPECT_TRUE(mutex->acquire(0ms)); }).join();
    EXPECT_TRUE(mutex->acquire(0ms));
    mutex->release();
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
