// How a host is, as it says on the bus.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "json/JSONFormatter.h"

namespace Host {

struct HostStatus {
    struct Viewer {
        std::u16string id;
        bool isAsked = false;                     // for signs of life
        std::optional<uint32_t> lastSignSeconds;  // ago; none so far
    };
    struct Session {
        uint32_t id = 0;
        std::u16string state;
    };
    struct Plugin {
        std::u16string product;
        std::u16string file;
    };
    struct Alert {
        std::u16string instance;
        std::u16string id;
        std::u16string title;
        std::u16string priority;
        uint32_t session = 0;  // 0: whichever is active
        bool isShown = false;  // on screen; else it waits
        uint32_t seconds = 0;  // for so long
        std::u16string likeness;
    };

    uint32_t process = 0;
    std::u16string start;  // tells one life of a host from the next
    std::u16string version;
    std::u16string bus;
    uint32_t uptimeSeconds = 0;
    std::vector<Viewer> viewers;
    std::vector<Session> sessions;
    std::vector<Plugin> plugins;
    std::vector<Alert> alerts;  // not more than mostAlerts
    uint32_t waiting = 0;       // of all
    uint32_t shown = 0;

    static constexpr size_t mostAlerts = 500;

    Tavix::JSONFormatter toJson() const;
    // Nothing when the text is none.
    static std::optional<HostStatus> parse(const std::u16string& text);

    bool hasViewer(std::u16string_view id) const;
};

// What alerts have in common that the broker takes for the same; empty without a title.
std::u16string likenessOf(const Tavix::JSONView& description);

}  // namespace Host
