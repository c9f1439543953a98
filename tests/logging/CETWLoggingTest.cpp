#include <cstring>
#include <gtest/gtest.h>

#include "FakeRegistry.h"
#include "logging/CETWLogging.h"
#include "logging/ETWAppProperties.h"
#include "platform/Thread.h"

namespace {

using namespace ETWLogging;
using namespace ETWLogging::internal;

const std::u16string loggingPath = u"SOFTWARE\\Corvane\\Logging";

template <class T>
T readAt(const uint8_t* bytes) {
    T value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

TEST(TraceEvent, HasTheClassicHeaderWithOneDataItem) {
    const uint8_t payload[3] = {};
    const auto header = traceEventHeader(4, payload, 3);
    const uint8_t start[] = {64, 0, 0, 0, 1, 4, 1, 0};
    EXPECT_EQ(std::memcmp(header.data(), start, sizeof start), 0);
    const uint8_t eventClass[] = {0x19, 0x4E, 0x6F, 0x2A, 0x3C, 0x8B, 0xE0, 0x11,
                                  0xC5, 0xD1, 0x08, 0x00, 0x20, 0x0C, 0x7E, 0x33};
    EXPECT_EQ(std::memcmp(header.data() + 24, eventClass, sizeof eventClass), 0);
    EXPECT_EQ(readAt<uint32_t>(&header[44]), 0x00120000u);
    EXPECT_EQ(readAt<uint64_t>(&header[48]), reinterpret_cast<uintptr_t>(payload));
    EXPECT_EQ(readAt<uint32_t>(&header[56]), 3u);
    EXPECT_EQ(readAt<uint32_t>(&header[60]), 0u);
    const uint32_t levels[][2] = {{0, 3}, {1, 1}, {5, 5}, {6, 3}, {7, 3}, {260, 3}};
    for (const auto& [level, written] : levels)
        EXPECT_EQ(traceEventHeader(level, payload, 3)[5], written) << level;
}

TEST(TraceEvent, WritesItsFieldsInOrder) {
    const TraceIdentity identity{0x01020304, u"p", u"", u"g", u"l"};
    const auto payload = traceEventPayload(identity, {4, u"s\u20AC", u"f", 258, u"m"}, 9);
    const std::vector<uint8_t> expected{
        4,  0, 0, 0, 2, 0, 0, 0, 4, 0, 4,   3, 2,    1,     //
        5,  0, 0, 0, 2, 0, 0, 0, 4, 0, 9,   0, 0,    0,     //
        13, 0, 0, 0, 4, 0, 0, 0, 2, 0, 'p', 0,              //
        6,  0, 0, 0, 4, 0, 0, 0, 4, 0, 's', 0, 0xAC, 0x20,  //
        7,  0, 0, 0, 5, 0, 0, 0, 4, 0, 2,   1, 0,    0,     //
        8,  0, 0, 0, 4, 0, 0, 0, 2, 0, 'f', 0,              //
        9,  0, 0, 0, 4, 0, 0, 0, 0, 0,                      //
        10, 0, 0, 0, 4, 0, 0, 0, 2, 0, 'g', 0,              //
        11, 0, 0, 0, 4, 0, 0, 0, 2, 0, 'l', 0,              //
        12, 0, 0, 0, 4, 0, 0, 0, 2, 0, 'm', 0,
    };
    EXPECT_EQ(payload, expected);

    const std::u16string huge(100'000, u'x');
    EXPECT_LT(traceEventPayload({}, {4, huge, huge, 1, huge}, 9).size(), 65536u - 64);
}

// A trace session that the test plays.
struct Session {
    Platform::TraceProvider::EnableCallback tell;
    Platform::Guid provider;
    std::vector<std::vector<uint8_t>> payloads;
    std::vector<uint8_t> levels;

    CETWLogging::ProviderMaker maker() {
        return [this](const Platform::Guid& id, const Platform::Guid& eventClass,
                      Platform::TraceProvider::EnableCallback callback) {
            EXPECT_EQ(eventClass, traceEventClass);
            provider = id;
            tell = std::move(callback);
            return std::make_unique<Provider>(*this);
        };
    }

    struct Provider : Platform::TraceProvider {
        explicit Provider(Session& owner) : session(owner) {}
        uint32_t write(void* header) override {
            const auto* bytes = static_cast<const uint8_t*>(header);
            const auto* payload = reinterpret_cast<const uint8_t*>(readAt<uint64_t>(bytes + 48));
            session.levels.push_back(bytes[5]);
            session.payloads.emplace_back(payload, payload + readAt<uint32_t>(bytes + 56));
            return 0;
        }
        Session& session;
    };
};

int levelChanges = 0;

class EventLog : public testing::Test {
protected:
    std::shared_ptr<CETWLogging> start() {
        levelChanges = 0;
        return CETWLogging::create(
            {1, 2, 3, {}}, {42, u"p", u"h", u"g", u"l"}, registry_, []() noexcept { ++levelChanges; },
            session_.maker());
    }

    FakeRegistry registry_;
    Session session_;
};

TEST_F(EventLog, WritesOnlyWhileASessionListens) {
    const auto logger = start();
    EXPECT_EQ(session_.provider, (Platform::Guid{1, 2, 3, {}}));
    EXPECT_EQ(logger->enabledLevels(), 0u);
    logger->write({5, u"s", u"f", 1, u"m"});
    session_.tell(true, 4);
    EXPECT_EQ(levelChanges, 1);
    const LogRecord record{6, u"s", u"f", 1, u"m"};
    logger->write(record);
    session_.tell(false, 0);
    logger->write(record);
    EXPECT_EQ(levelChanges, 2);
    ASSERT_EQ(session_.payloads.size(), 1u);
    EXPECT_EQ(session_.levels[0], 3);
    EXPECT_EQ(session_.payloads[0],
              traceEventPayload({42, u"p", u"h", u"g", u"l"}, record, Platform::currentThreadId()));
}

TEST_F(EventLog, AlwaysPassesInformation) {
    const auto logger = start();
    session_.tell(true, 5);
    EXPECT_EQ(logger->enabledLevels() & 0b1111111u, 0b1101000u);
    logger->configurationChanged({.enable = false, .severity = std::nullopt});
    EXPECT_EQ(logger->enabledLevels(), 0b1000u);
    for (const uint32_t level : {1u, 3u, 5u})
        logger->write({level, u"s", u"f", 1, u"m"});
    logger->write({3, u"s", u"f", 1, {}});
    EXPECT_EQ(session_.levels, std::vector<uint8_t>{3});
}

TEST_F(EventLog, LetsTheRegistryOverrideTheSession) {
    const auto logger = start();
    registry_.setNumber(loggingPath, u"Severity", 2);
    session_.tell(true, 5);
    EXPECT_EQ(logger->enabledLevels() & 0b1111111u, 0b1111100u);
    registry_.setNumber(loggingPath, u"Enable", 0);
    session_.tell(true, 5);
    EXPECT_EQ(logger->enabledLevels(), 0b1000u);
}

TEST_F(EventLog, IsNotBuiltWithoutAProvider) {
    EXPECT_EQ(CETWLogging::create(
                  {}, {}, registry_, []() noexcept {}, [](auto&&...) { return nullptr; }),
              nullptr);
}

TEST(ETWAppProperties, DefaultsGiveWayToTheRegistry) {
    FakeRegistry registry;
    ETWAppProperties read = ETWAppProperties::read(registry, u"C:\\Data");
    EXPECT_EQ(read.logPath, u"C:\\Data\\Corvane\\CVLOGS");
    EXPECT_EQ(read.traceFile(), u"C:\\Data\\Corvane\\CVLOGS\\ETW\\cvlogs.etl");
    EXPECT_EQ(Platform::guidText(read.sessionId), u"{7C2E5A10-3B9F-11E0-A4D2-0800200C1B77}");
    EXPECT_EQ(read.sessionName, u"Corvane.{3B9D2C41-7A5E-4f08-9C1D-52E8A0B7F6C3}");
    EXPECT_EQ(Platform::guidText(read.provider), u"{5F83B2C4-61DA-11E0-9E37-0800200C4D58}");
    EXPECT_EQ(read.controllerPath, u"");
    EXPECT_EQ(read.ownerMutexName, u"Global\\Corvane.{A41F7E92-6C3B-48d1-9E5A-0B7C2D8F4E16}");

    registry.setText(loggingPath, u"ETL Path", u"D:\\t");
    registry.setText(loggingPath + u"\\Session", u"Session ID Guid", u"no guid");
    registry.setText(loggingPath + u"\\Session", u"Session Name", u"n");
    registry.setText(loggingPath + u"\\Provider", u"Provider Guid",
                     u"{00000001-0002-0003-0405-060708090a0b}");
    registry.setText(loggingPath + u"\\Controller", u"Controller Path", u"c");
    read = ETWAppProperties::read(registry, u"C:\\Data");
    EXPECT_EQ(read.traceFile(), u"D:\\t\\cvlogs.etl");
    EXPECT_EQ(Platform::guidText(read.sessionId), u"{7C2E5A10-3B9F-11E0-A4D2-0800200C1B77}");
    EXPECT_EQ(read.sessionName, u"n");
    EXPECT_EQ(Platform::guidText(read.provider), u"{00000001-0002-0003-0405-060708090A0B}");
    EXPECT_EQ(read.controllerPath, u"c");
}

}  // namespace
