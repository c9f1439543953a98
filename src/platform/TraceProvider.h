// The classic event-trace provider of the system.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

#include "platform/Guid.h"

namespace Platform {

class TraceProvider {
public:
    // Called on a thread of the system's when a trace session enables (with its level) or disables the
    // provider. Must not create or destroy a provider; not called any more once the destructor has returned.
    using EnableCallback = std::function<void(bool enabled, uint32_t level)>;

    // Null where the system has no event tracing, or refuses the registration.
    static std::unique_ptr<TraceProvider> create(const Guid& provider, const Guid& eventClass,
                                                 EnableCallback callback);
    virtual ~TraceProvider() = default;
    // Hands a complete event to the session: header is the 64-byte classic header followed by one data item.
    virtual uint32_t write(void* header) = 0;
};

}  // namespace Platform
