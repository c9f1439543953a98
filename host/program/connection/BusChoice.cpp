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
    if (!bus.empty())
        Platform::setEnvironment(busVariable, bus);
    Platform::setEnvironment(roleVariable, nameOf(role));
    const MessageBus::ServerChoice choice = MessageBus::chooseServer();
    if (!choice.fault.empty())
        throw HostError(Ferrow::toUtf8(choice.fault));
    if (!choice.server) {
        Platform::setEnvironment(busVariable, embedded);
        return {true, embedded};
    }
    const std::u16string name = u"nats://" + Ferrow::toUtf16(choice.server->text());
    // The library takes the same, whatever hosts come and go meanwhile.
    if (Platform::environment(busVariable).empty())
        Platform::setEnvironment(busVariable, name);
    return {false, name, choice.server};
}

}  // namespace Host
