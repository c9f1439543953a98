// The classic event-trace provider of the system.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

#include "platform/Guid.h"

namespace Platform {

// Registered from start() to stop(), any number of times. Both may wait for a callback that runs: they are
// called by one thread at a time, from no callback, and with no lock held that a callback takes.
class TraceProvider {
public:
    // Called on a thread of the system's, or of the caller's of start(), when a trace session enables (with
    // its level) or disables the provider; not any more once stop() has returned.
    using EnableCallback = std::function<void(bool enabled, uint32_t level)>;

    // Null where the system has no event tracing.
    static std::unique_ptr<TraceProvider> create(const Guid& provider, const Guid& eventClass,
                                                 EnableCallback callback);
    // Stops. The object should live as long as the library: a callback that the system lets out late finds
    // it stopped and does nothing.
    virtual ~TraceProvider() = default;
    // False when the system refuses the registration.
    virtual bool start() noexcept = 0;
    virtual void stop() noexcept = 0;
    // Any thread, at any time. Hands a complete event to the session: header is the 64-byte classic header
    // followed by one data item.
    virtual uint32_t write(void* header) noexcept = 0;
};

}  // namespace Platform
