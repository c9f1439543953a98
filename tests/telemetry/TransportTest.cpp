#include <gtest/gtest.h>

#include <brevant/event_sink.h>

#include "support/Beside.h"
#include "support/PlatformFolder.h"
#include "telemetry/CEvent.h"
#include "telemetry/CLegacyTransport.h"
#include "telemetry/CSDKConnector.h"
#include "telemetry/TransportLists.h"
#include "text/Utf.h"

namespace {

using namespace Tavix::Analytics;

class ScriptedTransport : public internal::CBaseTransport {
public:
    ScriptedTransport(std::u16string name, bool opens, std::vector<std::u16string>& calls)
        : CBaseTransport(std::move(name), 1), opens_(opens), calls_(calls) {}
    bool Open() override {
        if (whileOpening)
            whileOpening();
        return told(u"open ", opens_);
    }
    bool Send(const DimensionMap&) override { return told(u"send ", true); }
    void Close() override { told(u"close ", true); }

    std::function<void()> whileOpening;

private:
    bool told(const std::u16string& call, bool result) {
        calls_.push_back(call + GetName());
        return result;
    }
    const bool opens_;
    std::vector<std::u16string>& calls_;
};

TEST(Transports, AreTriedInOrderOneSelectionAtATimeAndClosedWhenTheyDoNotOpen) {
    internal::TransportLists& lists = internal::transportLists();
    std::vector<std::u16string> calls;
    const auto scripted = [&](const char16_t* name, bool opens) {
        return std::make_shared<ScriptedTransport>(name, opens, calls);
    };
    std::vector<std::shared_ptr<internal::ITransport>> primary{scripted(u"A", false)},
        fallback{scripted(u"B", false), scripted(u"C", true), scripted(u"D", true)};
    const auto swap = [&] {
        Platform::MutexLock lock(lists.mutex);
        lists.primary.swap(primary);
        lists.fallback.swap(fallback);
    };
    // A sink that publishes in its factory, on a bus that delivers in place, brings about an event in there.
    static_cast<ScriptedTransport&>(*fallback[0]).whileOpening = [] { v2::CEvent(u"in there").Send(); };
    swap();
    v2::CEvent(u"E").Send();
    swap();
    EXPECT_EQ(calls, (std::vector<std::u16string>{u"open A", u"close A", u"open B", u"close B", u"open C",
                                                  u"send C", u"close C"}));
}

// An event sink beside this program, registered on a machine of the test's own.
class EventSink : public testing::Test {
protected:
    void SetUp() override {
        if (!machine_.isOwnMachine())
            GTEST_SKIP() << Support::PlatformFolder::notOwnMachine;
    }
    void registerSink(const char16_t* file) {
        machine_.registerComponent(BREVANT_EVENT_SINK_CLASS_ID_TEXT, beside(file));
    }
    Support::PlatformFolder machine_;
};

TEST_F(EventSink, IsPassedOverWhileItIsNotRegistered) {
    CSDKConnector connector;
    connector.Connect();
    DimensionMap dimensions;
    EXPECT_TRUE(connector.Send(dimensions));
    EXPECT_EQ(dimensions[u"__transport.name"], u"NULL-Pattern v1");
    connector.Disconnect();
    EXPECT_FALSE(connector.Send(dimensions));
    EXPECT_FALSE(CLegacyTransport().Open());
    EXPECT_FALSE(CLegacyTransport().Send({{u"a", u"b"}}));
}

TEST_F(EventSink, GetsTheEventBetweenEmptyTextsAndMayFail) {
    registerSink(u"test_component.dll");
    CLegacyTransport transport;
    EXPECT_TRUE(transport.Open());
    EXPECT_TRUE(transport.Send({{u"a", u"b"}}));
    EXPECT_FALSE(transport.Send({{u"a", u"refuse"}}));
    EXPECT_FALSE(transport.Send({{u"a", u"throw"}}));
    EXPECT_TRUE(transport.Send({{u"a", u"b"}})) << "each call lets go of its sink";
}

TEST_F(EventSink, MayThrowFromWhateverItIsAskedFor) {
    auto id = Platform::parseGuid(u"" BREVANT_EVENT_SINK_CLASS_ID_TEXT).value();
    for (const bool sends : {false, false, true, true}) {
        ++id.data1;
        machine_.registerComponent(Ferrow::toUtf8(Platform::guidText(id)), beside(u"test_component.dll"));
        CLegacyTransport transport(id);
        EXPECT_EQ(transport.Open(), sends);
        EXPECT_EQ(transport.Send({{u"a", u"b"}}), sends);
    }
    registerSink(u"test_component.dll");
    EXPECT_TRUE(CLegacyTransport().Send({{u"a", u"b"}})) << "no reference is left behind";
}

}  // namespace
