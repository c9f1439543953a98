// One line of a log file.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "logging/LogRecord.h"
#include "platform/Clock.h"

namespace ETWLogging::internal {

// "Normal" for 1 and so on; empty for a level that has no name.
std::u16string_view severityName(uint32_t level) noexcept;

// Which fields a line carries beside time, severity and message.
enum LineOptions : uint32_t {
    lineProcessAndThread = 4,
    lineSource = 8,
    lineLogName = 16,
    lineFunction = 32,
};

// What is the same in all lines of a logger.
struct LineContext {
    std::u16string_view logName;
    uint32_t options = 0;
    uint32_t processId = 0;
};

constexpr uint32_t lineSuccess = 0;
constexpr uint32_t lineOutOfMemory = 14;
constexpr uint32_t lineInvalidParameter = 87;

// Writes the line with its end, or leaves it empty and returns 87 for a missing message or a level without a
// name, 14 when memory is short.
uint32_t buildLogLine(const LineContext& context, const LogRecord& record, uint32_t threadId,
                      const Platform::CalendarTime& time, std::u16string& line) noexcept;

}  // namespace ETWLogging::internal
