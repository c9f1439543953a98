// Asks for the host that serves the bus.
#pragma once

#include <optional>

#include "host/program/connection/BusConnection.h"
#include "host/program/connection/HostStatus.h"

namespace Host {

// One thread.
class HostClient {
public:
    // How often whoever depends on the host looks whether it is still there.
    static constexpr std::chrono::milliseconds lookInterval{2000};

    // The table outlives the client. Throws HostError.
    explicit HostClient(const BrevantBusFunctions& functions) : connection_(functions, u"brevant") {}

    // Nothing when no host answers.
    std::optional<HostStatus> status();

    // What has become of the host since the last look; the first one tells of what it finds.
    enum class Change { none, gone, back, replaced };
    Change look();
    // What the last look has found.
    const std::optional<HostStatus>& seen() const noexcept { return seen_; }

private:
    BusConnection connection_;
    std::optional<HostStatus> seen_;
    std::u16string lastStart_;
};

}  // namespace Host
