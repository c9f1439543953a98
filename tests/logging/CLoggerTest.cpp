#include <gtest/gtest.h>

#include "logging/CDefaultLoggingHandler.h"
#include "logging/CLogger.h"
#include "text/Format.h"

namespace {

using namespace Ferrow;
using Texts = std::vector<std::u16string>;

Texts output;

struct Handler : CLoggingHandlerIf {
    void log(uint32_t, const char16_t*, uint32_t, const char16_t*,
             const char16_t* message) noexcept override {
        messages.emplace_back(message);
    }
    std::u16string address() const { return formatText(u"0x%08X", static_cast<const void*>(this)); }
    Texts messages;
};

TEST(CDefaultLoggingHandler, SendsTheMessageButNotTheLine) {
    CDefaultLoggingHandler handler([](const std::u16string& text) { output.push_back(text); });
    for (uint32_t level = 0; level <= 3; ++level)
        handler.log(level, u"file", 7, u"function", u"message");
    handler.log(1, nullptr, 0, nullptr, nullptr);
    EXPECT_EQ(output, (Texts{u"message", u"message", u"message", u""}));
}

TEST(CLogger, KeepsTheFirstHandlerAndSaysWhatItRefuses) {
    CLogger& logger = coreLogger();
    const auto first = std::make_shared<Handler>(), second = std::make_shared<Handler>();
    ASSERT_TRUE(logger.registerHandler(first));
    EXPECT_FALSE(logger.registerHandler(second));
    EXPECT_FALSE(logger.registerHandler(nullptr));
    EXPECT_FALSE(logger.unregisterHandler(nullptr));
    EXPECT_FALSE(logger.unregisterHandler(second.get()));
    const std::u16string registering = u"Ferrow::CLogger::registerHandler: ";
    const std::u16string unregistering = u"Ferrow::CLogger::unregisterHandler: ";
    EXPECT_EQ(first->messages,
              (Texts{registering + u"Registered Logging Handler " + first->address() +
                         u" cannot be replaced with " + second->address(),
                     registering + u"Cannot Register (NULL) handler",
                     unregistering + u"Cannot Unregister (NULL) handler",
                     unregistering + u"Failed to Unregister Logging handler (requested handler " +
                         second->address() + u" != registered handler " + first->address() + u")"}));

    EXPECT_TRUE(logger.unregisterHandler(first.get()));
    EXPECT_EQ(first.use_count(), 1);
    EXPECT_FALSE(logger.unregisterHandler(first.get()));
    EXPECT_EQ(first->messages.size(), 4u) << "goes to the debugger now";
    EXPECT_TRUE(logger.registerHandler(second));
    EXPECT_TRUE(logger.unregisterHandler(second.get()));
}

}  // namespace
