// While it lives, every log record of every level comes here instead of going to the process's logger.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "logging/ProcessLogger.h"
#include "support/Monitor.h"

namespace Support {

// Any thread may log and ask. Captures may be nested when the inner one ends first.
class LogCapture {
public:
    struct Record {
        uint32_t level;
        std::u16string source, function, message;
        uint32_t line;
    };

    LogCapture() : before_(ETWLogging::internal::replaceLogger(logger_)) {}
    ~LogCapture() { ETWLogging::internal::replaceLogger(before_); }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<Record> records() const {
        return logger_->locked([&] { return logger_->records; });
    }
    bool has(uint32_t level, std::u16string_view message) const { return count(level, message) != 0; }
    // Records with exactly that message.
    size_t count(uint32_t level, std::u16string_view message) const {
        const auto all = records();
        return static_cast<size_t>(std::count_if(all.begin(), all.end(), [&](const Record& record) {
            return record.level == level && record.message == message;
        }));
    }
    void clear() {
        logger_->locked([&] { logger_->records.clear(); });
    }

private:
    struct Logger : ETWLogging::CLoggingIf_ex, Monitor {
        uint32_t enabledLevels() const noexcept override { return 0x7FFFFFFF; }
        size_t maximumMessageLength() const noexcept override { return SIZE_MAX; }
        void write(const ETWLogging::LogRecord& record) noexcept override {
            locked([&] {
                records.push_back({record.level, std::u16string(record.sourceFile),
                                   std::u16string(record.function), std::u16string(record.message),
                                   record.line});
            });
        }
        void configurationChanged(const ETWLogging::LoggingConfig&) noexcept override {}

        std::vector<Record> records;
    };
    const std::shared_ptr<Logger> logger_ = std::make_shared<Logger>();
    const std::shared_ptr<ETWLogging::CLoggingIf_ex> before_;
};

}  // namespace Support

using Support::LogCapture;
