#include "host/bus/BusChoice.h"

#include "host/bus/embedded/EmbeddedBus.h"
#include "host/bus/nats/ConnectionFile.h"
#include "host/bus/nats/NatsBus.h"
#include "host/bus/nats/NatsClient.h"
#include "host/bus/nats/ServerAddress.h"
#include "platform/Process.h"
#include "platform/Registry.h"
#include "text/Utf.h"

namespace MessageBus {

namespace {

// In place of a bus that cannot be told which it is.
class NoBus final : public Bus {
public:
    NoBus() : Bus({}) {}
    uint32_t acquireHandle(BrevantBusHandle*) override { return MODULE_STATUS_INVALID_PARAMETER; }

private:
    uint32_t send(BrevantBusHandle, const MessageHeader&, const Texts&, const Answer*) override {
        return MODULE_STATUS_INVALID_HANDLE;
    }
    uint32_t reply(BrevantBusHandle, const MessageHeader&, const Texts&) override {
        return MODULE_STATUS_INVALID_HANDLE;
    }
};

struct Choice {
    std::u16string value;
    std::u16string origin;  // for people
};

std::optional<Choice> choice(const ConnectionFile::Reading& file, const ConnectionFile& at) {
    if (auto value = Platform::environmentVariable("BREVANT_BUS"); value && !value->empty())
        return Choice{*value, u"the environment's BREVANT_BUS"};
    if (const auto key = Platform::Registry::system().openKey(u"SOFTWARE\\CORVANE\\OSTREL"))
        if (const auto value = key->readText(u"Bus"); value && !value->empty())
            return Choice{*value, u"\"Bus\" in the registry"};
    switch (file.state) {
        case ConnectionFile::State::absent:
            return std::nullopt;
        case ConnectionFile::State::unreadable:
            return Choice{u"", at.path()};
        case ConnectionFile::State::present:
            break;
    }
    return Choice{Ferrow::toUtf16(file.content.url), at.path()};
}

}  // namespace

std::unique_ptr<Bus> chooseBus() {
    const ConnectionFile at;
    const ConnectionFile::Reading file = at.read();
    const std::optional<Choice> chosen = choice(file, at);
    if (!chosen || chosen->value == u"embedded")
        return std::make_unique<EmbeddedBus>();
    std::u16string why;
    std::optional<ServerAddress> address = ServerAddress::parse(Ferrow::toUtf8(chosen->value), why);
    if (!address) {
        report(u"there is no bus: what " + chosen->origin +
               u" says is neither embedded nor the address of a "
               u"server, for " +
               why + u".");
        return std::make_unique<NoBus>();
    }
    std::u16string ignored;
    const auto named = ServerAddress::parse(file.content.url, ignored);
    if (address->credentials.user.empty() && named && named->text() == address->text()) {
        const auto role = Platform::environmentVariable("BREVANT_BUS_ROLE");
        if (auto credentials = at.readCredentials(role && !role->empty() ? Ferrow::toUtf8(*role) : "product"))
            address->credentials = *std::move(credentials);
    }
    return std::make_unique<NatsBus>(*std::move(address));
}

}  // namespace MessageBus
