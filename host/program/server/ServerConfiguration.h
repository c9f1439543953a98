// What the server of the bus allows to whom.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace Host {

struct ServerConfiguration {
    uint16_t port = 0;   // 0: one that is free
    std::string folder;  // absolute, as the server takes it; for its log and the file that tells its port
    std::map<std::string, std::string> passwords;  // by role: "host", "product", "viewer", "watcher"

    // In the server's own language. The host may do everything; what others may do is in docs/bus.md.
    std::string text() const;
};

}  // namespace Host
