#include "support/LogCapture.h"

#include <algorithm>
#include <mutex>

#include "logging/ProcessLogger.h"

namespace Support {

class LogCapture::Logger : public ETWLogging::CLoggingIf_ex {
public:
    uint32_t enabledLevels() const noexcept override { return 0x7FFFFFFF; }
    size_t maximumMessageLength() const noexcept override { return SIZE_MAX; }
    void write(const ETWLogging::LogRecord& record) noexcept override {
        std::lock_guard lock(mutex_);
        records_.push_back({record.level, std::u16string(record.sourceFile), std::u16string(record.function),
                            std::u16string(record.message), record.line});
    }
    void configurationChanged(const ETWLogging::LoggingConfig&) noexcept override {}

    mutable std::mutex mutex_;
    std::vector<Record> records_;
};

struct LogCapture::Before {
    std::shared_ptr<ETWLogging::CLoggingIf_ex> logger;
};

LogCapture::LogCapture() : logger_(std::make_shared<Logger>()), before_(std::make_unique<Before>()) {
    before_->logger = ETWLogging::internal::replaceLogger(logger_);
}

LogCapture::~LogCapture() {
    ETWLogging::internal::replaceLogger(before_->logger);
}

std::vector<LogCapture::Record> LogCapture::records() const {
    std::lock_guard lock(logger_->mutex_);
    return logger_->records_;
}

size_t LogCapture::count(uint32_t level, std::u16string_view message) const {
    const auto all = records();
    return static_cast<size_t>(std::count_if(all.begin(), all.end(), [&](const Record& record) {
        return record.level == level && record.message == message;
    }));
}

void LogCapture::clear() {
    std::lock_guard lock(logger_->mutex_);
    logger_->records_.clear();
}

}  // namespace Support
