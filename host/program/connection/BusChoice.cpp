#include "host/program/connection/BusChoice.h"

#include "host/bus/nats/ServerChoice.h"
#include "host/program/connection/HostError.h"
#include "platform/Environment.h"
#include "text/Utf.h"

namespace Host {
namespace {

constexpr const char16_t* busVariable = u"BREVANT_BUS";
constexpr const char16_t* roleVariable = u"BREVANT_BUS_ROLE";
constexpr const char16_t* embedded = u"embedded";

const char16_t* nameOf(BusRole role) {
    switch (role) {
        case BusRole::host:
            return u"host";
        case BusRole::product:
            return u"product";
        case BusRole::viewer:
            return u"viewer";
        case BusRole::watcher:
            break;
    }
    return u"watcher";
}

}  // namespace

BusChoice chooseBus(const std::u16string& bus, BusRole role) {
    if (!bus.empty()) {
        std::u16string why;
        if (bus != embedded && !MessageBus::ServerAddress::parse(Ferrow::toUtf8(bus), why))
            throw HostError("--bus is neither embedded nor the address of a server: " + Ferrow::toUtf8(why));
        Platform::setEnvironment(busVariable, bus);
    }
    Platform::setEnvironment(roleVariable, nameOf(role));
    const MessageBus::ServerChoice choice = MessageBus::chooseServer();
    if (!choice.fault.empty())
        throw HostError(Ferrow::toUtf8(choice.fault));
    if (!choice.server) {
        // The library's choice is to be the same, whatever hosts come meanwhile.
        Platform::setEnvironment(busVariable, embedded);
        return {true, embedded};
    }
    return {false, u"nats://" + Ferrow::toUtf16(choice.server->text()), choice.server};
}

}  // namespace Host
