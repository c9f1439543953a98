// While it lives, every telemetry event comes here instead of going to the process's transports.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "telemetry/DimensionMap.h"

namespace Support {

// Any thread may send and ask.
class TelemetryCapture {
public:
    using Event = Tavix::Analytics::DimensionMap;

    TelemetryCapture();
    ~TelemetryCapture();
    TelemetryCapture(const TelemetryCapture&) = delete;
    TelemetryCapture& operator=(const TelemetryCapture&) = delete;

    std::vector<Event> events() const;
    // The first event of that name; nothing when it does not come in time.
    std::optional<Event> waitFor(const std::u16string& uniqueIdentifier,
                                 std::chrono::milliseconds timeout = std::chrono::seconds(20)) const;
    // How many events of that name have come.
    size_t count(const std::u16string& uniqueIdentifier) const;

private:
    class Transport;
    std::shared_ptr<Transport> transport_;
};

}  // namespace Support

using Support::TelemetryCapture;
