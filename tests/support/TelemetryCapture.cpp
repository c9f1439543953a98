#include "support/TelemetryCapture.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>

#include "telemetry/CBaseTransport.h"
#include "telemetry/TransportLists.h"

namespace Support {

namespace {

bool isNamed(const TelemetryCapture::Event& event, const std::u16string& uniqueIdentifier) {
    const auto name = event.find(u"UniqueIdentifier");
    return name != event.end() && name->second == uniqueIdentifier;
}

}  // namespace

class TelemetryCapture::Transport : public Tavix::Analytics::internal::CBaseTransport {
public:
    Transport() : CBaseTransport(u"Capture", 7) {}

    bool Open() override { return true; }
    bool Send(const Event& dimensions) override {
        std::lock_guard lock(mutex);
        events.push_back(dimensions);
        arrived.notify_all();
        return true;
    }
    void Close() override {}

    std::mutex mutex;
    std::condition_variable arrived;
    std::vector<Event> events;
};

TelemetryCapture::TelemetryCapture() : transport_(std::make_shared<Transport>()) {
    auto& lists = Tavix::Analytics::internal::transportLists();
    Platform::MutexLock lock(lists.mutex);
    lists.primary.insert(lists.primary.begin(), transport_);
}

TelemetryCapture::~TelemetryCapture() {
    auto& lists = Tavix::Analytics::internal::transportLists();
    Platform::MutexLock lock(lists.mutex);
    std::erase(lists.primary, transport_);
}

std::vector<TelemetryCapture::Event> TelemetryCapture::events() const {
    std::lock_guard lock(transport_->mutex);
    return transport_->events;
}

std::optional<TelemetryCapture::Event> TelemetryCapture::waitFor(const std::u16string& uniqueIdentifier,
                                                                 std::chrono::milliseconds timeout) const {
    std::unique_lock lock(transport_->mutex);
    auto found = transport_->events.end();
    transport_->arrived.wait_for(lock, timeout, [&] {
        found = std::find_if(transport_->events.begin(), transport_->events.end(),
                             [&](const Event& event) { return isNamed(event, uniqueIdentifier); });
        return found != transport_->events.end();
    });
    if (found == transport_->events.end())
        return std::nullopt;
    return *found;
}

size_t TelemetryCapture::count(const std::u16string& uniqueIdentifier) const {
    std::lock_guard lock(transport_->mutex);
    return static_cast<size_t>(
        std::count_if(transport_->events.begin(), transport_->events.end(),
                      [&](const Event& event) { return isNamed(event, uniqueIdentifier); }));
}

}  // namespace Support
