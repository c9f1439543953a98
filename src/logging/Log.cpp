#include "logging/Log.h"

#include "logging/CLogging.h"
#include "logging/ProcessLogger.h"
#include "platform/Process.h"

namespace ETWLogging {
namespace internal {

constinit std::atomic<uint32_t> enabledLevels{loggerUnbuilt};

namespace {

// Callers may log a failure before they ask for its number.
class LastErrorKeeper {
public:
    LastErrorKeeper() : error_(Platform::lastError()) {}
    ~LastErrorKeeper() { Platform::setLastError(error_); }
    LastErrorKeeper(const LastErrorKeeper&) = delete;
    LastErrorKeeper& operator=(const LastErrorKeeper&) = delete;

private:
    const uint32_t error_;
};

void write(CLoggingIf_ex* logger, const LogRecord& record) {
    if (logger)
        logger->write(record);
    else if (buildsLoggerHere())
        keepEarlyRecord(record);
}

}  // namespace

bool buildAndTest(uint32_t level) noexcept {
    const LastErrorKeeper keeper;
    try {
        if (buildsLoggerHere())
            return true;
        const auto logger = processLogger();
        return logger && level < levelLimit && (logger->enabledLevels() >> level & 1u) != 0;
    } catch (...) {
        return false;
    }
}

void writeFormatted(uint32_t level, std::u16string_view sourceFile, std::u16string_view function,
                    uint32_t line, std::u16string_view format, const Ferrow::FormatArgument* arguments,
                    size_t count) noexcept {
    const LastErrorKeeper keeper;
    try {
        const auto logger = processLogger();
        const std::u16string message = Ferrow::formatTextArguments(
            format, arguments, count, logger ? logger->maximumMessageLength() : CLogging::longestMessage);
        write(logger.get(), {level, sourceFile, function, line, message});
    } catch (...) {
        // A record that cannot be formatted is dropped.
    }
}

}  // namespace internal

void logMessage(uint32_t level, std::u16string_view sourceFile, std::u16string_view function, uint32_t line,
                std::u16string_view message) noexcept {
    if (!isLogEnabled(level))
        return;
    const internal::LastErrorKeeper keeper;
    try {
        const auto logger = internal::processLogger();
        internal::write(logger.get(), {level, sourceFile, function, line, message});
    } catch (...) {
    }
}

}  // namespace ETWLogging
