#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <thread>

#include "logging/Log.h"
#include "logging/LogUse.h"
#include "logging/ProcessLogger.h"
#include "platform/Diagnostics.h"
#include "platform/Folders.h"
#include "platform/Process.h"
#include "support/LogCapture.h"
#include "support/PlatformFolder.h"

namespace {

using namespace ETWLogging;

constexpr std::u16string_view logSource = u"LogTest";

TEST(Log, CarriesSourceFunctionAndLineToTheLogger) {
    LogCapture log;
    LOG_MESSAGE(2, u"Vok::one", u"100%s");
    LOG_FORMATTED(4, u"Vok::two", u"%ls failed: %lu", u"x", 0x8000000Du);
    const uint32_t line = __LINE__ - 1;
    EXPECT_TRUE(log.has(2, u"100%s"));
    EXPECT_TRUE(log.has(4, u"x failed: 2147483661"));
    const LogCapture::Record last = log.records().back();
    EXPECT_EQ(last.source + u' ' + last.function, u"LogTest Vok::two");
    EXPECT_EQ(last.line, line);
}

// Writes down what it is given, from a level on, while it is in use.
struct Scripted : CLoggingIf_ex {
    uint32_t enabledLevels() const noexcept override { return used ? ~0u << lowest : 0; }
    size_t maximumMessageLength() const noexcept override { return 5; }
    void write(const LogRecord& record) noexcept override {
        Platform::setLastError(99);
        messages.emplace_back(record.message);
    }
    void configurationChanged(const LoggingConfig& config) noexcept override { lowest = *config.severity; }
    void beginUse() noexcept override { used = true; }
    void endUse() noexcept override { used = false; }

    bool used = true;
    uint32_t lowest = 3;
    std::vector<std::u16string> messages;
};

TEST(Log, EvaluatesNothingForALevelThatIsOffCutsWhatItFormatsAndKeepsTheLastError) {
    const LogCapture bringsTheLoggerBack;
    const auto logger = std::make_shared<Scripted>();
    internal::replaceLogger(logger);
    internal::useLogger(true);
    Platform::setLastError(5);
    int evaluated = 0;
    LOG_FORMATTED(2, u"f", u"%d", ++evaluated);
    LOG_FORMATTED(3, u"f", u"%d23456789", ++evaluated);
    LOG_MESSAGE(4, u"f", u"123456789");
    EXPECT_EQ(Platform::lastError(), 5u);
    EXPECT_EQ(logger->messages, (std::vector<std::u16string>{u"12345", u"123456789"}));
    EXPECT_TRUE(isLogEnabled(30));
    EXPECT_FALSE(isLogEnabled(31));
    EXPECT_FALSE(isLogEnabled(UINT32_MAX));

    internal::configureLogger({.enable = std::nullopt, .severity = 2});
    EXPECT_TRUE(isLogEnabled(2));
    EXPECT_FALSE(isLogEnabled(1));
    internal::useLogger(false);
}

TEST(Log, IsInUseFromTheFirstModuleToTheLast) {
    const LogCapture bringsTheLoggerBack;
    const auto first = std::make_shared<Scripted>(), second = std::make_shared<Scripted>();
    second->used = false;
    internal::replaceLogger(first);
    EXPECT_FALSE(isLogEnabled(4)) << "built before any module, it is in no use";
    for (int life = 0; life < 2; ++life) {
        acquireLog();
        EXPECT_TRUE(isLogEnabled(4));
        internal::replaceLogger(life == 0 ? second : first);
        acquireLog();
        releaseLog();
        EXPECT_TRUE(isLogEnabled(4)) << "one that comes in between is in use at once";
        releaseLog();
        EXPECT_FALSE(isLogEnabled(4));
    }
}

// The process's own logger, on a machine of the test's own.
class OwnMachine : public testing::Test {
protected:
    void SetUp() override {
        if (!machine_.isOwnMachine())
            GTEST_SKIP() << Support::PlatformFolder::notOwnMachine;
        internal::replaceLogger(nullptr);
    }
    std::filesystem::path logs() const { return machine_.data() / "Corvane" / "CVLOGS"; }
    // Writes values of the log's key, and waits until the level is on or off.
    bool becomes(const std::string& values, uint32_t level, bool enabled) {
        machine_.writeKey("Corvane\\Logging", values);
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (isLogEnabled(level) != enabled && std::chrono::steady_clock::now() < deadline)
            std::this_thread::yield();
        return isLogEnabled(level) == enabled;
    }
    std::string logText() const {
        std::string text;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(logs())) {
            std::ifstream in(entry.path(), std::ios::binary);
            if (entry.path().extension() == ".log")
                text.append(std::istreambuf_iterator<char>(in), {});
        }
        return text;
    }

    Support::PlatformFolder machine_;
    const LogCapture bringsTheLoggerBack_;
};

TEST_F(OwnMachine, BuildsTheLoggerOnceWhenManyThreadsLogFirst) {
    {
        std::vector<std::jthread> threads;
        for (int each = 0; each < 8; ++each)
            threads.emplace_back([each] { LOG_FORMATTED(4, u"f", u"from %d", each); });
    }
    const std::string text = logText();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 8);
    EXPECT_FALSE(isLogEnabled(2));
}

TEST_F(OwnMachine, KeepsWhatIsReportedWhileTheLoggerIsBuilt) {
    if (Platform::platformFolder().empty())
        GTEST_SKIP() << "the registry is no file here, so none is malformed";
    std::filesystem::create_directories(logs());
    machine_.write(logs() / "log.ini", "[Config]\nSeverity=1\nOptions=0\n");
    machine_.writeRegistry("this is no registry");
    LOG_MESSAGE(4, u"f", u"after");
    const std::string text = logText();
    const size_t report = text.find("(Error)$ Registry file is not used");
    ASSERT_NE(report, std::string::npos) << text;
    EXPECT_LT(report, text.find("after"));
    EXPECT_EQ(text.find("(Warning)", report + 1), std::string::npos);
}

TEST_F(OwnMachine, FollowsTheRegistryWhileAModuleExists) {
    acquireLog();
    acquireLog();
    EXPECT_FALSE(isLogEnabled(1));
    releaseLog();
    EXPECT_TRUE(becomes("\"Severity\"=dword:00000001\n\"Logging Mechanism\"=dword:00000001\n", 1, true));
    EXPECT_TRUE(becomes("\"Enable\"=dword:00000000\n", 4, false));
    releaseLog();
    releaseLog();  // one too many is ignored
}

}  // namespace
