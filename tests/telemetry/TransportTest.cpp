#include <gtest/gtest.h>

#include <brevant/event_sink.h>

#include "platform/Files.h"
#include "platform/Folders.h"
#include "support/Beside.h"
#include "support/PlatformFolder.h"
#include "telemetry/CEvent.h"
#include "telemetry/CLegacyTransport.h"
#include "telemetry/CSDKConnector.h"
#include "telemetry/TransportLists.h"

namespace {

using namespace Tavix::Analytics;

class ScriptedTransport : public internal::CBaseTransport {
public:
    ScriptedTransport(std::u16string name, bool opens, std::vector<std::u16string>& calls)
        : CBaseTransport(std::move(name), 1), opens_(opens), calls_(calls) {}
    bool Open() override { return told(u"open ", opens_); }
    bool Send(const DimensionMap&) override { return told(u"send ", true); }
    void Close() override { told(u"close ", true); }

private:
    bool told(const std::u16string& call, bool result) {
        calls_.push_back(call + GetName());
        return result;
    }
    const bool opens_;
    std::vector<std::u16string>& calls_;
};

std::u16string transportOfAnEvent() {
    CSDKConnector connector;
    connector.Connect();
    DimensionMap dimensions;
    EXPECT_TRUE(connector.Send(dimensions));
    connector.Disconnect();
    EXPECT_FALSE(connector.Send(dimensions));
    return dimensions[u"__transport.name"];
}

TEST(Transports, AreTriedInOrderAndClosedWhenTheyDoNotOpen) {
    internal::TransportLists& lists = internal::transportLists();
    std::vector<std::u16string> calls;
    const auto scripted = [&](const char16_t* name, bool opens) {
        return std::make_shared<ScriptedTransport>(name, opens, calls);
    };
    const auto use = [&](auto primary, auto fallback) {
        Platform::MutexLock lock(lists.mutex);
        lists.primary.swap(primary);
        lists.fallback.swap(fallback);
        return std::pair(primary, fallback);
    };
    using List = std::vector<std::shared_ptr<internal::ITransport>>;
    const auto before = use(List{scripted(u"A", false)},
                            List{scripted(u"B", false), scripted(u"C", true), scripted(u"D", true)});
    v2::CEvent(u"E").Send();
    EXPECT_EQ(calls, (std::vector<std::u16string>{u"open A", u"close A", u"open B", u"close B", u"open C",
                                                  u"send C", u"close C"}));
    use(List{}, List{scripted(u"A", false)});
    EXPECT_EQ(transportOfAnEvent(), u"NULL-Pattern v1");
    use(before.first, before.second);
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
    static std::string eventFile() {
        return Platform::readFile(Platform::commonDataFolder() + u"\\events.jsonl").value_or("");
    }

    Support::PlatformFolder machine_;
};

TEST_F(EventSink, IsPassedOverWhileItIsNotRegistered) {
    EXPECT_EQ(transportOfAnEvent(), u"NULL-Pattern v1");
    EXPECT_FALSE(CLegacyTransport().Open());
    EXPECT_FALSE(CLegacyTransport().Send({{u"a", u"b"}}));
}

TEST_F(EventSink, GetsEachEventAsOneLine) {
    registerSink(EVENT_SINK_FILE);
    EXPECT_EQ(transportOfAnEvent(), u"Legacy v1");
    const std::string first = eventFile();
    EXPECT_NE(first.find("\"__transport.name\":\"Legacy v1\""), first.npos) << first;
    EXPECT_EQ(first.find('\n'), first.size() - 1);

    v2::CEvent(u"Gr\u00FC\u00DFe").Add(u"text", u"two\n\"lines\"").Send();
    const std::string second = eventFile().substr(first.size());
    EXPECT_NE(second.find("\"UniqueIdentifier\":\"Gr\u00FC\u00DFe\""), second.npos) << second;
    EXPECT_NE(second.find(R"("text":"two\n\"lines\"")"), second.npos) << second;
    EXPECT_EQ(second.find('\n'), second.size() - 1);
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

}  // namespace
