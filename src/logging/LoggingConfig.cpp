#include "logging/LoggingConfig.h"

namespace ETWLogging {

LoggingConfig readLoggingConfig(const Platform::Registry& registry) {
    LoggingConfig config;
    if (const auto key = registry.openKey(loggingKey)) {
        if (const auto enable = key->readNumber(u"Enable"))
            config.enable = *enable != 0;
        config.severity = key->readNumber(u"Severity");
    }
    return config;
}

}  // namespace ETWLogging
