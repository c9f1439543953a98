// The process's logger behind the log call interface. For the loggers themselves and for test support, which
// puts a logger of its own there; everybody else uses Log.h.
#pragma once

#include <memory>

#include "logging/CLoggingIf.h"

namespace ETWLogging::internal {

// Built on the first call. Null while this thread builds it, and when none can be built. Throws when memory
// is short.
std::shared_ptr<CLoggingIf_ex> processLogger();

// Whether this thread is building the logger; what it logs meanwhile may be kept for the logger to write.
bool buildsLoggerHere();
void keepEarlyRecord(const LogRecord& record);

// Puts a logger in the place of the process's, begins or ends its use as useLogger said last, and returns the
// one that was there as it is. Null means that none has been built: the next record builds it. Records being
// written elsewhere hold on to the logger they began with.
std::shared_ptr<CLoggingIf_ex> replaceLogger(std::shared_ptr<CLoggingIf_ex> logger);

// Tells the log call interface that a logger's enabledLevels() may have changed. No lock of the logger's that
// enabledLevels() takes may be held.
void refreshEnabledLevels() noexcept;

// Whether the logger is in use: the one there is, and any that comes. It is not before the first call.
void useLogger(bool used) noexcept;

// Builds the logger unless that was done, and gives it the new configuration.
void configureLogger(const LoggingConfig& config) noexcept;

}  // namespace ETWLogging::internal
