#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/Registry.h"

namespace ETWLogging {

constexpr std::u16string_view loggingKey = u"SOFTWARE\\Corvane\\Logging";

// The values of the logging configuration that can change while the process runs, as far as they could be
// read.
struct LoggingConfig {
    std::optional<bool> enable;
    std::optional<uint32_t> severity;  // the lowest level that is written
};

// Reads "Enable" and "Severity" of the logging key; what is missing stays empty.
LoggingConfig readLoggingConfig(const Platform::Registry& registry);

}  // namespace ETWLogging
