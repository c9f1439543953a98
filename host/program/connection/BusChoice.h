// Which bus the library beside the program will use.
#pragma once

#include <optional>
#include <string>

#include "host/bus/nats/ServerAddress.h"

namespace Host {

struct BusChoice {
    bool isEmbedded = true;  // nobody outside this process is on it
    std::u16string name;     // "embedded", or the server's address without its password
    std::optional<MessageBus::ServerAddress> server{};
};

// What plays on the bus: a server grants each its own.
enum class BusRole { host, product, viewer, watcher };

// Before the library is loaded. An empty bus leaves the choice to the environment, the registry and the
// running host (host/bus/nats/ServerChoice.h). Throws HostError for one that makes no sense.
BusChoice chooseBus(const std::u16string& bus, BusRole role);

}  // namespace Host
