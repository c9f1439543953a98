#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include <brevant/event_sink.h>

#include "platform/Files.h"
#include "platform/Folders.h"
#include "platform/Process.h"
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
        calls_.push_back(u"open " + GetName());
        return opens_;
    }
    bool Send(const DimensionMap&) override {
        calls_.push_back(u"send " + GetName());
        return true;
    }
    void Close() override { calls_.push_back(u"close " + GetName()); }

private:
    const bool opens_;
    std::vector<std::u16string>& calls_;
};

// The transport lists of the process, as they were, when the test is over.
class Transports : public testing::Test {
protected:
    void SetUp() override {
        Platform::MutexLock lock(lists_.mutex);
        primary_ = lists_.primary;
        fallback_ = lists_.fallback;
    }
    void TearDown() override {
        Platform::MutexLock lock(lists_.mutex);
        lists_.primary = primary_;
        lists_.fallback = fallback_;
    }
    void use(bool fallback, const char16_t* name, bool opens) {
        Platform::MutexLock lock(lists_.mutex);
        (fallback ? lists_.fallback : lists_.primary)
            .push_back(std::make_shared<ScriptedTransport>(name, opens, calls_));
    }
    void clearFallback() {
        Platform::MutexLock lock(lists_.mutex);
        lists_.fallback.clear();
    }
    std::u16string transportOfAnEvent() {
        CSDKConnector connector;
        connector.Connect();
        DimensionMap dimensions;
        EXPECT_TRUE(connector.Send(dimensions));
        connector.Disconnect();
        EXPECT_FALSE(connector.Send(dimensions));
        return dimensions[u"__transport.name"];
    }

    internal::TransportLists& lists_ = internal::transportLists();
    std::vector<std::shared_ptr<internal::ITransport>> primary_, fallback_;
    std::vector<std::u16string> calls_;
};

TEST_F(Transports, AreTriedInOrderAndClosedWhenTheyDoNotOpen) {
    clearFallback();
    use(false, u"A", false);
    use(true, u"B", false);
    use(true, u"C", true);
    use(true, u"D", true);
    v2::CEvent(u"E").Send();
    EXPECT_EQ(calls_, (std::vector<std::u16string>{u"open A", u"close A", u"open B", u"close B", u"open C",
                                                   u"send C", u"close C"}));
}

TEST_F(Transports, FallBackToOneThatDropsEventsWhenNoneOpens) {
    clearFallback();
    use(true, u"A", false);
    EXPECT_EQ(transportOfAnEvent(), u"NULL-Pattern v1");
}

// The event sink beside this program, registered on a machine of the test's own.
class EventSink : public Transports {
protected:
    void SetUp() override {
        Transports::SetUp();
        if (Platform::platformFolder().empty())
            GTEST_SKIP() << "components are registered in the system's own registry here";
    }
    void registerSink() {
        const std::filesystem::path program(Platform::nativePath(Platform::executablePath()));
        const auto library = program.parent_path() / "libBrevantEventSink.so";
        ASSERT_TRUE(std::filesystem::exists(library));
        machine_.writeRegistry(
            "Windows Registry Editor Version 5.00\n\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\"
            "CLSID\\" BREVANT_EVENT_SINK_CLASS_ID_TEXT "\\InprocServer32]\n@=\"" +
            escaped(Platform::portablePath(library.string())) + "\"\n");
    }
    static std::string escaped(const std::u16string& path) {
        std::string text;
        for (const char byte : Ferrow::toUtf8(path))
            text.append(byte == '\\' ? 2 : 1, byte);
        return text;
    }
    static std::string eventFile() {
        return Platform::readFile(Platform::commonDataFolder() + u"\\events.jsonl").value_or("");
    }

    Support::PlatformFolder machine_;
};

TEST_F(EventSink, IsPassedOverWhileItIsNotRegistered) {
    EXPECT_EQ(transportOfAnEvent(), u"NULL-Pattern v1");
    CLegacyTransport transport;
    EXPECT_FALSE(transport.Open());
    EXPECT_FALSE(transport.Send({{u"a", u"b"}}));
}

TEST_F(EventSink, GetsEachEventAsOneLine) {
    registerSink();
    EXPECT_EQ(transportOfAnEvent(), u"Legacy v1");
    const std::string first = eventFile();
    EXPECT_NE(first.find("\"__transport.name\":\"Legacy v1\""), first.npos) << first;
    EXPECT_EQ(first.find('\n'), first.size() - 1);

    v2::CEvent(u"Gr\u00FC\u00DFe").Add(u"text", u"two\nlines").Send();
    const std::string second = eventFile().substr(first.size());
    EXPECT_NE(second.find("\"UniqueIdentifier\":\"Gr\u00FC\u00DFe\""), second.npos) << second;
    EXPECT_NE(second.find("\"text\":\"two\\nlines\""), second.npos) << second;
    EXPECT_EQ(second.find('\n'), second.size() - 1);
}

TEST_F(EventSink, IsNotAskedWithoutAFormatterOrForNoDimensions) {
    registerSink();
    EXPECT_FALSE(CLegacyTransport({}, nullptr).Send({{u"a", u"b"}}));
    EXPECT_FALSE(CLegacyTransport().Send({}));
    EXPECT_FALSE(CLegacyTransport({1, 2, 3, {}}).Open());
    EXPECT_EQ(eventFile(), "");
}

}  // namespace
