// The telemetry event that tells what happened to an alert.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace Vok {

// What differs between the events; category and sub-category are always the broker's. A field that is empty
// adds no dimension. The texts must outlive the send only.
struct AlertEvent {
    std::u16string_view identifier;
    std::u16string_view action;
    std::u16string_view tertiaryCategory;
    std::u16string_view alertId;
    std::u16string_view label{};
    std::optional<uint32_t> result{};  // a module status
    std::u16string_view hitLabel{};    // viewer or product
    bool interactive = false;
    bool userInitiated = false;
};

// A failure of the broker's, "Brevant.Failed": where it arose, its status, and the viewer concerned, if any.
AlertEvent failureEvent(std::u16string_view alertId, std::u16string_view label, uint32_t status,
                        std::u16string_view viewerId = {});

// Sends on the calling thread. Nobody learns whether it arrived.
void sendAlertEvent(const AlertEvent& event);

}  // namespace Vok
