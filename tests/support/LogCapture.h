// While it lives, every log record of every level comes here instead of going to the process's logger.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Support {

// Any thread may log and ask. Captures may be nested when the inner one ends first.
class LogCapture {
public:
    struct Record {
        uint32_t level;
        std::u16string source, function, message;
        uint32_t line;
    };

    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<Record> records() const;
    bool has(uint32_t level, std::u16string_view message) const { return count(level, message) != 0; }
    // Records with exactly that message.
    size_t count(uint32_t level, std::u16string_view message) const;
    void clear();

private:
    class Logger;
    struct Before;
    std::shared_ptr<Logger> logger_;
    std::unique_ptr<Before> before_;
};

}  // namespace Support

using Support::LogCapture;
