// While it lives, every telemetry event comes here instead of going to the process's transports.
#pragma once

#include <memory>
#include <mutex>
#include <vector>

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
        std::lock_guard lock(transport_->mutex);
        return transport_->events;
    }

private:
    struct Transport : Tavix::Analytics::internal::CBaseTransport {
        Transport() : CBaseTransport(u"Capture", 7) {}
        bool Open() override { return true; }
        bool Send(const Event& dimensions) override {
            std::lock_guard lock(mutex);
            events.push_back(dimensions);
            return true;
        }
        void Close() override {}

        std::mutex mutex;
        std::vector<Event> events;
    };
    const std::shared_ptr<Transport> transport_ = std::make_shared<Transport>();
};

}  // namespace Support

using Support::TelemetryCapture;
