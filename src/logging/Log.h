// The log call interface. Every record goes to the one logger of the process, built on the first call.
// Logging never throws and never reports a failure.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

#include "logging/LogRecord.h"
#include "text/Format.h"

namespace ETWLogging {

enum Level : uint32_t {
    levelNormal = 1,
    levelWarning = 2,
    levelInformation = 3,
    levelError = 4,
    levelCritical = 5,
};

namespace internal {
// Bit n is set when records of level n are written; loggerUnbuilt until the logger has been built.
extern constinit std::atomic<uint32_t> enabledLevels;
bool buildAndTest(uint32_t level) noexcept;
void writeFormatted(uint32_t level, std::u16string_view sourceFile, std::u16string_view function,
                    uint32_t line, std::u16string_view format, const Ferrow::FormatArgument* arguments,
                    size_t count) noexcept;
constexpr uint32_t loggerUnbuilt = 1u << levelLimit;
}  // namespace internal

// Whether a record of that level would be written: a load and a compare.
inline bool isLogEnabled(uint32_t level) noexcept {
    const uint32_t levels = internal::enabledLevels.load(std::memory_order_relaxed);
    if (levels & internal::loggerUnbuilt) [[unlikely]]
        return internal::buildAndTest(level);
    return level < levelLimit && (levels >> level & 1u) != 0;
}

void logMessage(uint32_t level, std::u16string_view sourceFile, std::u16string_view function, uint32_t line,
                std::u16string_view message) noexcept;

// The format is text/Format.h's. Nothing is formatted while the level is off.
template <class... Arguments>
void logFormatted(uint32_t level, std::u16string_view sourceFile, std::u16string_view function, uint32_t line,
                  std::u16string_view format, const Arguments&... arguments) noexcept {
    if (!isLogEnabled(level))
        return;
    const Ferrow::FormatArgument list[] = {Ferrow::FormatArgument(arguments)..., Ferrow::FormatArgument(0)};
    internal::writeFormatted(level, sourceFile, function, line, format, list, sizeof...(arguments));
}

}  // namespace ETWLogging

// Logs with the source file name that the translation unit declares:
//     constexpr std::u16string_view logSource = u"AlertUserSession";
// Arguments are not evaluated while the level is off.
#define LOG_FORMATTED(level, function, ...)                                                \
    do {                                                                                   \
        if (::ETWLogging::isLogEnabled(level))                                             \
            ::ETWLogging::logFormatted(level, logSource, function, __LINE__, __VA_ARGS__); \
    } while (false)
#define LOG_MESSAGE(level, function, message)                                        \
    do {                                                                             \
        if (::ETWLogging::isLogEnabled(level))                                       \
            ::ETWLogging::logMessage(level, logSource, function, __LINE__, message); \
    } while (false)
