#include <future>
#include <gtest/gtest.h>
#include <windows.h>
// The tracing headers need the base types above.
#include <evntrace.h>
#include <wmistr.h>

#include "logging/TraceEvent.h"
#include "platform/windows/TraceCalls.h"

using namespace Platform;

namespace {

constexpr Guid providerId{1, 2, 3, {}}, classId{1, 2, 4, {}};
constexpr TRACEHANDLE noSession = ~TRACEHANDLE(0);

// The tracing of a system that has sessions, whose level is the lowest byte of their handle.
class Tracing : public testing::Test {
protected:
    Tracing() { now = this; }

    static TraceCalls calls() {
        return {[](WMIDPREQUEST function, void* context, LPCGUID, ULONG, PTRACE_GUID_REGISTRATION, LPCWSTR,
                   LPCWSTR, TRACEHANDLE* handle) -> ULONG {
                    now->function = function;
                    now->context = context;
                    *handle = static_cast<TRACEHANDLE>(++now->registrations);
                    // A session that is there enables a provider as soon as it is registered.
                    if (now->session && now->refusal == ERROR_SUCCESS)
                        now->control(WMI_ENABLE_EVENTS, now->session);
                    return now->refusal;
                },
                [](TRACEHANDLE handle) -> ULONG {
                    now->ended.push_back(static_cast<int>(handle));
                    now->whenEnded.set_value();
                    now->whenEnded = {};
                    return ERROR_SUCCESS;
                },
                [](void* buffer) {
                    SetLastError(ERROR_BAD_LENGTH);
                    return *static_cast<TRACEHANDLE*>(buffer);
                },
                [](TRACEHANDLE session) { return static_cast<UCHAR>(session); },
                [](TRACEHANDLE session, EVENT_TRACE_HEADER* header) -> ULONG {
                    const auto* data = reinterpret_cast<const MOF_FIELD*>(header + 1);
                    const auto* bytes = reinterpret_cast<const uint8_t*>(data->DataPtr);
                    now->events.push_back({session, header->Class.Level, {bytes, bytes + data->Length}});
                    return ERROR_MORE_DATA;
                }};
    }
    ULONG control(WMIDPREQUESTCODE code, TRACEHANDLE with = noSession) {
        ULONG size = 1;
        return function(code, context, &size, &with);
    }

    using Told = std::vector<std::pair<bool, uint32_t>>;
    struct Event {
        TRACEHANDLE session;
        int level;
        std::vector<uint8_t> payload;
        bool operator==(const Event&) const = default;
    };

    static inline Tracing* now = nullptr;
    WMIDPREQUEST function = nullptr;
    void* context = nullptr;
    int registrations = 0;
    std::vector<int> ended;
    std::promise<void> whenEnded;
    ULONG refusal = ERROR_SUCCESS;
    TRACEHANDLE session = 0;
    std::vector<Event> events;
    Told told;
    std::unique_ptr<TraceProvider> provider = createTraceProvider(
        providerId, classId, [this](bool enabled, uint32_t level) { told.emplace_back(enabled, level); },
        calls());
};

TEST_F(Tracing, IsDoneInTheSessionThatEnabledTheProviderLast) {
    const std::vector<uint8_t> payload{7, 8};
    auto header = ETWLogging::internal::traceEventHeader(5, payload.data(), 2);
    EXPECT_TRUE(provider->start());
    EXPECT_TRUE(provider->start());
    EXPECT_EQ(registrations, 1);
    EXPECT_EQ(provider->write(header.data()), ERROR_INVALID_HANDLE);
    EXPECT_EQ(control(WMI_ENABLE_EVENTS, 0x704), ERROR_SUCCESS);
    EXPECT_EQ(control(WMI_ENABLE_EVENTS, noSession), ERROR_BAD_LENGTH);
    EXPECT_EQ(control(WMI_GET_ALL_DATA), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(provider->write(header.data()), ERROR_MORE_DATA);
    EXPECT_EQ(events, (std::vector<Event>{{0x704, 5, payload}}));
    EXPECT_EQ(control(WMI_DISABLE_EVENTS), ERROR_SUCCESS);
    EXPECT_EQ(provider->write(header.data()), ERROR_INVALID_HANDLE);
    EXPECT_EQ(told, (Told{{true, 4}, {false, 0}}));
}

TEST_F(Tracing, EndsOnceWithEachRegistrationAndTellsNothingLate) {
    provider->start();
    control(WMI_ENABLE_EVENTS, 0x704);
    provider->stop();
    provider->stop();
    EXPECT_EQ(ended, std::vector<int>{1});
    EXPECT_EQ(control(WMI_ENABLE_EVENTS, 0x704), ERROR_SUCCESS);
    ASSERT_EQ(told.size(), 1u);
    EXPECT_EQ(provider->write(nullptr), ERROR_INVALID_HANDLE);

    refusal = ERROR_ACCESS_DENIED;
    EXPECT_FALSE(provider->start());
    provider->stop();
    refusal = ERROR_SUCCESS;
    session = 0x702;
    EXPECT_TRUE(provider->start());
    EXPECT_EQ(told, (Told{{true, 4}, {true, 2}}));
    provider.reset();
    EXPECT_EQ(ended, (std::vector<int>{1, 3}));
}

TEST_F(Tracing, WaitsForACallbackThatRunsWhenTheRegistrationEnds) {
    std::promise<void> entered;
    std::future_status endedMeanwhile{};
    provider = createTraceProvider(
        providerId, classId,
        [&, unregistered = whenEnded.get_future().share()](bool, uint32_t) {
            entered.set_value();
            endedMeanwhile = unregistered.wait_for(std::chrono::milliseconds(50));
        },
        calls());
    provider->start();
    const auto callback = std::async(std::launch::async, [this] { control(WMI_ENABLE_EVENTS, 0x704); });
    entered.get_future().wait();
    provider->stop();
    EXPECT_EQ(endedMeanwhile, std::future_status::timeout);
    EXPECT_EQ(ended.size(), 1u);
}

// Whether sessions reach it only a system that has them could tell.
TEST(TracingOfTheSystem, TakesTheRegistration) {
    EXPECT_TRUE(TraceProvider::create(providerId, classId, [](bool, uint32_t) {})->start());
}

}  // namespace
