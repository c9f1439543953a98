#include <gtest/gtest.h>

#include "logging/CDefaultLoggingHandler.h"
#include "logging/CLogger.h"
#include "text/Format.h"

namespace {

using namespace Ferrow;

std::vector<std::u16string> output;
void keep(const std::u16string& text) {
    output.push_back(text);
}

struct Handler : CLoggingHandlerIf {
    void log(uint32_t level, const char16_t*, uint32_t, const char16_t*,
             const char16_t* message) noexcept override {
        levels.push_back(level);
        messages.emplace_back(message);
    }
    std::vector<uint32_t> levels;
    std::vector<std::u16string> messages;
};

TEST(CDefaultLoggingHandler, SendsTheMessageButNotTheLine) {
    output.clear();
    CDefaultLoggingHandler handler(keep);
    for (uint32_t level = 0; level <= 3; ++level)
        handler.log(level, u"file", 7, u"function", u"message");
    handler.log(1, nullptr, 0, nullptr, nullptr);
    EXPECT_EQ(output, (std::vector<std::u16string>{u"message", u"message", u"message", u""}));

    const auto line = [](uint32_t level) {
        return CDefaultLoggingHandler::formatLine(level, u"a", 7, u"b", u"c");
    };
    EXPECT_EQ(line(0), u"");
    EXPECT_EQ(line(1), u"a(7): [INFO]: [b]: c\n");
    EXPECT_EQ(line(2), u"a(7): [ERROR]: [b]: c\n");
    EXPECT_EQ(line(9), u"a(7): [UNKNOWN]: [b]: c\n");
}

TEST(CLogger, KeepsTheFirstHandlerAndSaysWhatItRefuses) {
    CLogger logger;
    const auto first = std::make_shared<Handler>(), second = std::make_shared<Handler>();
    const auto address = [](const auto& handler) {
        return formatText(u"0x%08X", static_cast<const void*>(handler.get()));
    };
    ASSERT_TRUE(logger.registerHandler(first));
    EXPECT_FALSE(logger.registerHandler(second));
    EXPECT_FALSE(logger.registerHandler(nullptr));
    EXPECT_FALSE(logger.unregisterHandler(nullptr));
    EXPECT_FALSE(logger.unregisterHandler(second.get()));
    logger.log(coreLogInfo, u"f", 1, u"g", u"own message");
    const std::u16string registering = u"Ferrow::CLogger::registerHandler: ";
    const std::u16string unregistering = u"Ferrow::CLogger::unregisterHandler: ";
    EXPECT_EQ(first->messages,
              (std::vector<std::u16string>{
                  registering + u"Registered Logging Handler " + address(first) +
                      u" cannot be replaced with " + address(second),
                  registering + u"Cannot Register (NULL) handler",
                  unregistering + u"Cannot Unregister (NULL) handler",
                  unregistering + u"Failed to Unregister Logging handler (requested handler " +
                      address(second) + u" != registered handler " + address(first) + u")",
                  u"own message"}));
    EXPECT_EQ(first->levels.back(), coreLogInfo);
    EXPECT_TRUE(second->messages.empty());

    EXPECT_TRUE(logger.unregisterHandler(first.get()));
    EXPECT_EQ(first.use_count(), 1);
    EXPECT_FALSE(logger.unregisterHandler(first.get()));
    EXPECT_EQ(first->messages.size(), 5u) << "goes to the debugger now";
    EXPECT_TRUE(logger.registerHandler(second));
}

}  // namespace
