#include "telemetry/CTracker.h"

#include <chrono>
#include <utility>

#include "platform/Clock.h"
#include "telemetry/CSDKConnector.h"
#include "telemetry/DimensionMap.h"
#include "text/Format.h"
#include "text/Utf.h"

namespace Tavix::Analytics::internal {

struct CTracker::_Impl {  // NOLINT(bugprone-reserved-identifier)
    std::u16string type;
    DimensionMap dimensions;
};

namespace {

std::u16string utcTimeText() {
    const Platform::CalendarTime now = Platform::utcCalendarTime();
    return Ferrow::formatText(u"%04hu-%02hu-%02hu %02hu:%02hu:%02huZ", now.year, now.month, now.day, now.hour,
                              now.minute, now.second);
}

std::u16string secondsSinceSystemStart() {
    // compat
    const auto now = std::chrono::duration_cast<std::chrono::seconds>(Platform::Clock::steady().now());
    return Ferrow::decimal(static_cast<uint64_t>(now.count()));
}

}  // namespace

CTracker::CTracker(std::u16string type) : impl_(std::make_unique<_Impl>()) {
    impl_->type = std::move(type);
}

CTracker::~CTracker() = default;

void CTracker::Send() {
    DimensionMap& dimensions = impl_->dimensions;
    dimensions[u"Tracker.Type"] = impl_->type;
    dimensions[u"__record.created"] = utcTimeText();
    dimensions[u"__record.created.seconds"] = secondsSinceSystemStart();
    dimensions[u"__track.api.version"] = u"1.1.0";

    CSDKConnector connector;
    connector.Connect();
    connector.Send(dimensions);
    connector.Disconnect();
}

void CTracker::Add(std::u16string_view name, std::u16string_view value) {
    if (name.empty())
        return;
    std::u16string key(name);
    if (value.empty())
        impl_->dimensions.erase(key);
    else
        impl_->dimensions.insert_or_assign(std::move(key), std::u16string(value));
}

}  // namespace Tavix::Analytics::internal
