// Where the server of the bus is.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "host/bus/nats/ConnectionFile.h"

namespace MessageBus {

struct ServerAddress {
    std::string host;  // a number of this machine: "127.0.0.1", "::1"
    uint16_t port = 0;
    Credentials credentials;  // empty where none are needed

    // "nats://[user:password@]HOST:PORT", user and password percent-encoded where need be. HOST is a loopback
    // address: what goes further goes from server to server, over TLS. Nothing for any other text, and why.
    static std::optional<ServerAddress> parse(std::string_view url, std::u16string& why);

    // "127.0.0.1:4222", without credentials.
    std::string text() const;
};

}  // namespace MessageBus
