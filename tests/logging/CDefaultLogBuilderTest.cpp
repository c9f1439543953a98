#include <gtest/gtest.h>

#include "FakeRegistry.h"
#include "logging/CDefaultLogBuilder.h"
#include "logging/CLogging.h"
#include "support/PlatformFolder.h"

namespace {

using namespace ETWLogging;

struct SilentProvider : Platform::TraceProvider {
    uint32_t write(void*) override { return 0; }
};

bool buildsEvents(const FakeRegistry& registry, uint32_t mechanism, bool systemHasEvents = true) {
    CDefaultLogBuilder builder([]() noexcept {}, registry,
                               [=](auto&&...) -> std::unique_ptr<Platform::TraceProvider> {
                                   return systemHasEvents ? std::make_unique<SilentProvider>() : nullptr;
                               });
    builder.setIdentity({.mechanism = mechanism});
    const auto logger = builder.build();
    const bool events = dynamic_cast<CETWLogging*>(logger.get()) != nullptr;
    EXPECT_NE(events, dynamic_cast<CLogging*>(logger.get()) != nullptr);
    return events;
}

TEST(CDefaultLogBuilder, BuildsWhatTheIdentityOrElseTheRegistryAsksFor) {
    Support::PlatformFolder machine;
    FakeRegistry registry;
    EXPECT_FALSE(buildsEvents(registry, 0));
    EXPECT_TRUE(buildsEvents(registry, 1));
    registry.setNumber(u"SOFTWARE\\Corvane\\Logging", u"Logging Mechanism", 2);
    EXPECT_FALSE(buildsEvents(registry, 0));
    registry.setNumber(u"SOFTWARE\\Corvane\\Logging", u"Logging Mechanism", 1);
    EXPECT_TRUE(buildsEvents(registry, 0));
    EXPECT_FALSE(buildsEvents(registry, 0, false)) << "files serve where there is no event tracing";
    EXPECT_FALSE(buildsEvents(registry, 1, false));
}

}  // namespace
