// The system calls of event tracing, and a provider on top of them.
#pragma once

#include <windows.h>
// The tracing header needs the base types above.
#include <evntrace.h>
#include <memory>

#include "platform/TraceProvider.h"

namespace Platform {

struct TraceCalls {
    decltype(&RegisterTraceGuidsW) registerGuids = RegisterTraceGuidsW;
    decltype(&UnregisterTraceGuids) unregisterGuids = UnregisterTraceGuids;
    decltype(&GetTraceLoggerHandle) loggerHandle = GetTraceLoggerHandle;
    decltype(&GetTraceEnableLevel) enableLevel = GetTraceEnableLevel;
    decltype(&TraceEvent) event = TraceEvent;
};

std::unique_ptr<TraceProvider> createTraceProvider(const Guid& provider, const Guid& eventClass,
                                                   TraceProvider::EnableCallback callback,
                                                   const TraceCalls& calls);

}  // namespace Platform
