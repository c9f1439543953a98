#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <thread>

#include "logging/Log.h"
#include "logging/LoggingIdentity.h"
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
    ASSERT_EQ(log.records().size(), 2u);
    EXPECT_TRUE(log.has(2, u"100%s"));
    const LogCapture::Record second = log.records()[1];
    EXPECT_EQ(second.level, 4u);
    EXPECT_EQ(second.source, u"LogTest");
    EXPECT_EQ(second.function, u"Vok::two");
    EXPECT_EQ(second.line, line);
    EXPECT_EQ(second.message, u"x failed: 2147483661");
}

// Writes down what it is given, from a level on.
class Threshold : public CLoggingIf_ex {
public:
    explicit Threshold(uint32_t lowest) : lowest_(lowest) {}
    uint32_t enabledLevels() const noexcept override { return ~0u << lowest_; }
    size_t maximumMessageLength() const noexcept override { return 5; }
    void write(const LogRecord& record) noexcept override {
        Platform::setLastError(99);
        messages.emplace_back(record.message);
    }
    void configurationChanged(const LoggingConfig& config) noexcept override { lowest_ = *config.severity; }

    std::vector<std::u16string> messages;

private:
    std::atomic<uint32_t> lowest_;
};

class ReplacedLogger : public testing::Test {
protected:
    ReplacedLogger() : before_(internal::replaceLogger(logger_)) {}
    ~ReplacedLogger() override { internal::replaceLogger(before_); }

    std::shared_ptr<Threshold> logger_ = std::make_shared<Threshold>(3);
    std::shared_ptr<CLoggingIf_ex> before_;
};

TEST_F(ReplacedLogger, EvaluatesNothingForALevelThatIsOff) {
    int evaluated = 0;
    LOG_FORMATTED(2, u"f", u"%d", ++evaluated);
    EXPECT_EQ(evaluated, 0);
    LOG_FORMATTED(3, u"f", u"%d", ++evaluated);
    EXPECT_EQ(evaluated, 1);
    EXPECT_TRUE(isLogEnabled(30));
    EXPECT_FALSE(isLogEnabled(31));
    EXPECT_FALSE(isLogEnabled(UINT32_MAX));

    internal::configureLogger({.enable = std::nullopt, .severity = 2});
    EXPECT_TRUE(isLogEnabled(2));
    EXPECT_FALSE(isLogEnabled(1));
}

TEST_F(ReplacedLogger, CutsFormattedMessagesAndLeavesTheLastErrorAlone) {
    Platform::setLastError(5);
    LOG_FORMATTED(4, u"f", u"%s", u"123456789");
    LOG_MESSAGE(4, u"f", u"123456789");
    EXPECT_EQ(Platform::lastError(), 5u);
    EXPECT_EQ(logger_->messages, (std::vector<std::u16string>{u"12345", u"123456789"}));
}

// The process's own logger, on a machine of the test's own.
class OwnMachine : public testing::Test {
protected:
    void SetUp() override {
        if (Platform::platformFolder().empty())
            GTEST_SKIP() << "the registry is the system's own here";
        before_ = internal::replaceLogger(nullptr);
    }
    void TearDown() override {
        if (!Platform::platformFolder().empty())
            internal::replaceLogger(before_);
    }
    std::string logText() const {
        const auto folder = machine_.path() / "data" / "Corvane" / "CVLOGS";
        std::string text;
        if (std::filesystem::exists(folder)) {
            for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
                std::ifstream in(entry.path(), std::ios::binary);
                if (entry.path().extension() == ".log")
                    text.append(std::istreambuf_iterator<char>(in), {});
            }
        }
        return text;
    }
    void lowerThreshold() {
        std::filesystem::create_directories(machine_.path() / "data" / "Corvane" / "CVLOGS");
        machine_.write("data/Corvane/CVLOGS/log.ini", "[Config]\nSeverity=1\nOptions=0\n");
    }

    Support::PlatformFolder machine_;
    std::shared_ptr<CLoggingIf_ex> before_;
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
    lowerThreshold();
    machine_.writeRegistry("this is no registry");
    LOG_MESSAGE(4, u"f", u"after");
    const std::string text = logText();
    const size_t report = text.find("(Warning)$ Registry file is not used");
    ASSERT_NE(report, std::string::npos) << text;
    EXPECT_LT(report, text.find("after"));
    EXPECT_EQ(text.find("(Warning)", report + 1), std::string::npos);
}

TEST_F(OwnMachine, FollowsTheRegistryWhileAModuleExists) {
    acquireConfigurationListener();
    acquireConfigurationListener();
    EXPECT_FALSE(isLogEnabled(1));
    releaseConfigurationListener();
    machine_.writeRegistry(
        "Windows Registry Editor Version 5.00\n\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Corvane\\Logging]\n"
        "\"Severity\"=dword:00000001\n\"Logging Mechanism\"=dword:00000001\n");
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!isLogEnabled(1) && std::chrono::steady_clock::now() < deadline)
        std::this_thread::yield();
    EXPECT_TRUE(isLogEnabled(1));
    releaseConfigurationListener();
    releaseConfigurationListener();  // one too many is ignored
}

TEST(LoggingIdentity, IsClearedButForTheGroupThatIsSet) {
    EXPECT_EQ(loggingIdentity().group, u"_no_group");
    EXPECT_EQ(loggingIdentity().host, u"_no_host");
    setLogGroup(u"Group");
    EXPECT_EQ(loggingIdentity().group, u"Group");
    EXPECT_EQ(loggingIdentity().host, u"");
    EXPECT_EQ(loggingIdentity().mechanism, 0u);
}

}  // namespace
