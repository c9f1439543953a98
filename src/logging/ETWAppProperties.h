#pragma once

#include <string>

#include "platform/Guid.h"
#include "platform/Registry.h"

namespace ETWLogging::internal {

// Configuration of the event-tracing logger.
struct ETWAppProperties {
    std::u16string logPath;
    std::u16string etlPath;  // folder of the trace file
    Platform::Guid sessionId;
    std::u16string sessionName;
    Platform::Guid provider;
    std::u16string controllerPath;  // empty: none
    std::u16string ownerMutexName;

    // The defaults, overridden by what the registry has below the logging key. A text that is no GUID where
    // one belongs counts as missing.
    static ETWAppProperties read(const Platform::Registry& registry, const std::u16string& commonDataFolder);

    std::u16string traceFile() const;
};

}  // namespace ETWLogging::internal
