// Whether the messages of this process go through a server, and which.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "host/bus/nats/ServerAddress.h"

namespace MessageBus {

// What the environment's BREVANT_BUS says, else the text "Bus" under SOFTWARE\CORVANE\OSTREL, else the
// connection file that a running host has left (ConnectionFile.h), else the embedded bus. The value is
// "embedded" or "nats://[user:password@]HOST:PORT", HOST being a loopback address; where it names no user,
// the credentials of the role serve, unless they are for another server.
struct ServerChoice {
    std::optional<ServerAddress> server{};  // nothing for the embedded bus, and when there is a fault
    std::u16string fault{};                 // why what was found cannot be understood, for people
    std::u16string origin{};                // where it was found, for people; empty when nothing was
};

// Without a role the one that BREVANT_BUS_ROLE names, else "product".
ServerChoice chooseServer(std::string_view role = {});

}  // namespace MessageBus
