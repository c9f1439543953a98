// While it lives, every telemetry event comes here instead of going to the process's transports.
#pragma once

#include <memory>
#include <vector>

#include "support/Monitor.h"
#include "telemetry/CBaseTransport.h"
#include "telemetry/TransportLists.h"

namespace Support {

// Any thread may send and ask.
class TelemetryCapture {
public:
    using Event = Tavix::Analytics::DimensionMap;

    TelemetryCapture() {
        auto& lists = Tavix::Analytics::internal::transportLists();
        Platform::MutexLock lock(lists.mutex);
        lists.primary.insert(lists.primary.begin(), transport_);
    }
    ~TelemetryCapture() {
        auto& lists = Tavix::Analytics::internal::transportLists();
        Platform::MutexLock lock(lists.mutex);
        std::erase(lists.primary, transport_);
    }
    TelemetryCapture(const TelemetryCapture&) = delete;
    TelemetryCapture& operator=(const TelemetryCapture&) = delete;

    std::vector<Event> events() const {
        return transport_->locked([&] { return transport_->events; });
    }

private:
    struct Transport : Tavix::Analytics::internal::CBaseTransport, Monitor {
        Transport() : CBaseTransport(u"Capture", 7) {}
        bool Open() override { return true; }
        bool Send(const Event& dimensions) override {
            locked([&] { events.push_back(dimensions); });
            return true;
        }
        void Close() override {}

        std::vector<Event> events;
    };
    const std::shared_ptr<Transport> transport_ = std::make_shared<Transport>();
};

}  // namespace Support

using Support::TelemetryCapture;
