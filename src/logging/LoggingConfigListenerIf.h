#pragma once

#include "logging/LoggingConfig.h"

namespace ETWLogging {

class LoggingConfigListenerIf {
public:
    virtual ~LoggingConfigListenerIf() = default;
    // Replaces what is given and leaves the rest. Called on the notification thread.
    virtual void configurationChanged(const LoggingConfig& config) noexcept = 0;
};

}  // namespace ETWLogging
