// Which bus the library beside the program will use.
#pragma once

#include <string>

namespace Host {

struct BusChoice {
    bool isEmbedded = true;  // nobody outside this process is on it
    std::u16string name;     // "embedded", or the server's address without its password
};

// What plays on the bus: a server grants each its own.
enum class BusRole { host, product, viewer, watcher };

// Both before the library is loaded. An empty bus leaves the choice to the environment.
void chooseBus(const std::u16string& bus, BusRole role);
BusChoice busChoice();

}  // namespace Host
