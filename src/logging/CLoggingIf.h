// What a logger is to the log call interface.
#pragma once

#include <cstddef>
#include <cstdint>

#include "logging/LogRecord.h"
#include "logging/LoggingConfigListenerIf.h"

namespace ETWLogging {

// Every function may be called by any thread, none throws, and failures stay inside.
class CLoggingIf {
public:
    virtual ~CLoggingIf() = default;
    // Bit n is set when a record of level n (below levelLimit) would be written now.
    virtual uint32_t enabledLevels() const noexcept = 0;
    // Formatted messages are cut to this many units.
    virtual size_t maximumMessageLength() const noexcept = 0;
    // Drops a record whose level is off or that cannot be written.
    virtual void write(const LogRecord& record) noexcept = 0;
};

// A logger that can be switched while it runs.
class CLoggingIf_ex : public CLoggingIf, public LoggingConfigListenerIf {
public:
    // Take up and give back what lets the system call into the logger, which is made in use. One thread at a
    // time, in any order; both may wait for a callback that runs, and may change enabledLevels().
    virtual void beginUse() noexcept {}
    virtual void endUse() noexcept {}
};

}  // namespace ETWLogging
