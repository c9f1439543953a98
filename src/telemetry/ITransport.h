// What carries events away.
#pragma once

#include <cstdint>
#include <string>

#include "telemetry/DimensionMap.h"

namespace Tavix::Analytics::internal {

// Shared by all senders. Open and, for one that did not open, Close run under the selection lock; Send and
// the Close after it run outside, on several threads at once.
class ITransport {
public:
    virtual ~ITransport() = default;
    // Whether events can be sent now.
    virtual bool Open() = 0;
    virtual bool Send(const DimensionMap& dimensions) = 0;
    virtual void Close() = 0;
    virtual std::u16string GetName() const = 0;
    virtual uint32_t GetVersion() const = 0;
};

}  // namespace Tavix::Analytics::internal
