#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>

#include "logging/CDefaultLogBuilder.h"
#include "logging/CLogging.h"
#include "logging/ETWAppProperties.h"
#include "logging/FakeRegistry.h"
#include "logging/Log.h"
#include "logging/ProcessLogger.h"
#include "platform/Thread.h"
#include "support/LogCapture.h"
#include "support/PlatformFolder.h"

namespace {

using namespace ETWLogging;
using namespace ETWLogging::internal;

const std::u16string loggingPath = u"SOFTWARE\\Corvane\\Logging";

uint64_t numberAt(const uint8_t* bytes) {
    uint64_t value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

TEST(TraceEvent, HasTheClassicHeaderWithOneDataItem) {
    const uint8_t payload[3] = {};
    const auto header = traceEventHeader(4, payload, 3);
    const std::array<uint8_t, 48> start{64,   0,    0,    0,    1,    4,    1,    0,    0,    0,    0,    0,
                                        0,    0,    0,    0,    0,    0,    0,    0,    0,    0,    0,    0,
                                        0x19, 0x4E, 0x6F, 0x2A, 0x3C, 0x8B, 0xE0, 0x11, 0xC5, 0xD1, 8,    0,
                                        0x20, 0x0C, 0x7E, 0x33, 0,    0,    0,    0,    0,    0,    0x12, 0};
    EXPECT_TRUE(std::equal(start.begin(), start.end(), header.begin()));
    EXPECT_EQ(numberAt(&header[48]), reinterpret_cast<uintptr_t>(payload));
    EXPECT_EQ(numberAt(&header[56]), 3u);
    const uint32_t levels[][2] = {{0, 3}, {1, 1}, {5, 5}, {6, 3}, {260, 3}};
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
    const std::u16string kept(longestTraceText - 1, u'x');
    EXPECT_EQ(traceEventPayload({}, {4, u"", u"", 1, kept + u"\U0001F514"}, 9),
              traceEventPayload({}, {4, u"", u"", 1, kept}, 9))
        << "no half of a pair";
}

// A trace session that the test plays.
struct Session {
    Platform::TraceProvider::EnableCallback tell;
    Platform::Guid provider;
    bool refuses = false, registered = false;
    uint32_t listens = 0;  // at that level to a provider as soon as it is registered; 0: not yet
    std::vector<std::vector<uint8_t>> payloads;

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
        bool start() noexcept override {
            session.registered = !session.refuses;
            if (session.registered && session.listens)
                session.tell(true, session.listens);
            return session.registered;
        }
        void stop() noexcept override { session.registered = false; }
        uint32_t write(void* header) noexcept override {
            const auto* bytes = static_cast<const uint8_t*>(header);
            const auto* payload = reinterpret_cast<const uint8_t*>(numberAt(bytes + 48));
            session.payloads.emplace_back(payload, payload + numberAt(bytes + 56));
            return 0;
        }
        Session& session;
    };
};

int levelChanges = 0;

class EventLog : public testing::Test {
protected:
    uint32_t levels() const { return logger_->enabledLevels() & 0b1111111u; }
    void write(uint32_t level) { logger_->write({level, u"s", u"f", 1, u"m"}); }

    FakeRegistry registry_;
    Session session_;
    std::shared_ptr<CETWLogging> logger_ = CETWLogging::create(
        {1, 2, 3, {}}, {42, u"p", u"h", u"g", u"l"}, registry_,
        []() noexcept {
            ++levelChanges;
            refreshEnabledLevels();
        },
        session_.maker());
};

TEST_F(EventLog, WritesOnlyWhileASessionListens) {
    levelChanges = 0;
    EXPECT_EQ(session_.provider, (Platform::Guid{1, 2, 3, {}}));
    EXPECT_EQ(levels(), 0u);
    write(5);
    session_.tell(true, 4);
    EXPECT_EQ(levelChanges, 1);
    write(6);
    session_.tell(false, 0);
    EXPECT_EQ(levelChanges, 2);
    write(6);
    ASSERT_EQ(session_.payloads.size(), 1u);
    EXPECT_EQ(session_.payloads[0], traceEventPayload({42, u"p", u"h", u"g", u"l"}, {6, u"s", u"f", 1, u"m"},
                                                      Platform::currentThreadId()));
}

TEST_F(EventLog, IsRegisteredAndFollowsTheSessionOnlyWhileItIsInUse) {
    session_.listens = 4;
    EXPECT_TRUE(session_.registered);
    const LogCapture bringsTheLoggerBack;
    replaceLogger(logger_);
    for (const bool used : {false, true, false}) {
        useLogger(used);
        EXPECT_EQ(session_.registered, used);
        EXPECT_EQ(levels(), used ? 0b1111000u : 0u);
        EXPECT_EQ(isLogEnabled(4), used);
    }
}

TEST_F(EventLog, AlwaysPassesInformationAndLetsTheRegistryOverrideTheSession) {
    session_.tell(true, 5);
    EXPECT_EQ(levels(), 0b1101000u);
    logger_->configurationChanged({.enable = false, .severity = std::nullopt});
    EXPECT_EQ(levels(), 0b1000u);
    for (const uint32_t level : {1u, 3u, 5u})
        write(level);
    logger_->write({3, u"s", u"f", 1, {}});
    EXPECT_EQ(session_.payloads.size(), 1u);

    registry_.keys[loggingPath][u"Severity"] = 2u;
    session_.tell(true, 5);
    EXPECT_EQ(levels(), 0b1111100u);
    registry_.keys[loggingPath][u"Enable"] = 0u;
    session_.tell(true, 5);
    EXPECT_EQ(levels(), 0b1000u);
}

TEST(ETWAppProperties, TakeAnotherProviderFromTheRegistryWhenItIsAGuid) {
    const std::u16string ours = u"{5F83B2C4-61DA-11E0-9E37-0800200C4D58}";
    const std::pair<std::u16string, std::u16string> cases[]{
        {u"{7c2e5a10-3B9F-11e0-A4D2-0800200c1b78}", u"{7C2E5A10-3B9F-11E0-A4D2-0800200C1B78}"},
        {u"", ours},
        {u"(7C2E5A10-3B9F-11E0-A4D2-0800200C1B77)", ours},
        {u"{7C2E5A10-3B9F-11E0-A4D2-0800200C1B7}", ours},
        {u"{7C2E5A10-3B9F-11E0-A4D2-0800200C1B7G}", ours},
        {u"{7C2E5A10-3B9F-11E0-A4D2-0800200C1B77} ", ours}};
    for (const auto& [text, provider] : cases) {
        FakeRegistry registry;
        registry.keys[loggingPath + u"\\Provider"] = {{u"Provider Guid", text}};
        EXPECT_EQ(Platform::guidText(ETWAppProperties::read(registry, u"").provider), provider)
            << testing::PrintToString(text);
    }
}

TEST(CDefaultLogBuilder, BuildsWhatTheIdentityOrElseTheRegistryAsksForAndFilesWhereThereAreNoEvents) {
    Support::PlatformFolder machine;
    FakeRegistry registry;
    Session session;
    const auto buildsEvents = [&](uint32_t mechanism, const CETWLogging::ProviderMaker& makeProvider) {
        CDefaultLogBuilder builder([]() noexcept {}, registry, makeProvider);
        builder.setIdentity({.mechanism = mechanism});
        const auto logger = builder.build();
        const bool events = dynamic_cast<CETWLogging*>(logger.get()) != nullptr;
        EXPECT_NE(events, dynamic_cast<CLogging*>(logger.get()) != nullptr);
        return events;
    };
    const auto noProvider = [](auto&&...) { return nullptr; };
    EXPECT_FALSE(buildsEvents(0, session.maker()));
    EXPECT_TRUE(buildsEvents(1, session.maker()));
    registry.keys[loggingPath][u"Logging Mechanism"] = 2u;
    EXPECT_FALSE(buildsEvents(0, session.maker()));
    registry.keys[loggingPath][u"Logging Mechanism"] = 1u;
    EXPECT_TRUE(buildsEvents(0, session.maker()));
    EXPECT_FALSE(buildsEvents(0, noProvider));
    EXPECT_FALSE(buildsEvents(1, noProvider));
    session.refuses = true;
    EXPECT_FALSE(buildsEvents(1, session.maker()));
}

}  // namespace
