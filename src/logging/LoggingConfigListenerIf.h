#pragma once

#include <cstdint>
#include <optional>

namespace ETWLogging {

// The values of the logging configuration that can change while the process runs, as far as they could be
// read.
struct LoggingConfig {
    std::optional<bool> enable;
    std::optional<uint32_t> severity;  // the lowest level that is written
};

class LoggingConfigListenerIf {
public:
    virtual ~LoggingConfigListenerIf() = default;
    // Replaces what is given and leaves the rest. Called on the notification thread.
    virtual void configurationChanged(const LoggingConfig& config) noexcept = 0;
};

}  // namespace ETWLogging
