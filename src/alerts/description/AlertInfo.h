// The alert description: what a product sends, a plugin rewrites and a viewer receives.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "alerts/description/ContextText.h"

namespace Vok {

enum class AlertSource : uint32_t {
    Client = 0,  // "client"
    Web = 1,     // "web"
};

// Moved, never copied; a move leaves the source's strings and vector empty.
struct AlertInfo {
    AlertInfo() = default;
    virtual ~AlertInfo() = default;
    AlertInfo(AlertInfo&& other) noexcept;
    AlertInfo& operator=(AlertInfo&& other) noexcept;
    AlertInfo(const AlertInfo&) = delete;
    AlertInfo& operator=(const AlertInfo&) = delete;

    // Fills a default record. False at the first required member that is missing or wrong; what was read
    // before it stays set. Throws nothing for bad text.
    bool fromJson(const std::u16string& text);
    // Compact. An empty preferredViewer writes no member; a context that is no object text is written as {}.
    std::u16string toJson() const;
    // Whether fromJson makes the same record of what toJson writes, but for the last digits of numbers in the
    // context.
    bool readsBack() const noexcept;

    std::u16string id;          // which alert
    std::u16string instanceId;  // which showing of it
    int32_t priority = 3;       // 1 to 3, 1 is the most urgent; "P1" to "P3" in text
    std::u16string product;     // whose plugin processes the alert
    AlertSource source = AlertSource::Client;
    std::vector<std::u16string> preferredViewer;  // viewer identifiers, in order of preference
    bool forcePreferredViewer = false;
    ContextText context;     // compact JSON text of an object; see AlertContext
    std::u16string content;  // from the plugin to the viewer, opaque here
    uint32_t timeout = 30;   // seconds of display
    uint32_t sessionId = 0;  // Windows session; 0 names none
};

}  // namespace Vok
