#include "host/bus/BusChoice.h"

#include "host/bus/embedded/EmbeddedBus.h"
#include "host/bus/nats/NatsBus.h"
#include "host/bus/nats/NatsClient.h"
#include "host/bus/nats/ServerChoice.h"

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

}  // namespace

std::unique_ptr<Bus> chooseBus() {
    ServerChoice choice = chooseServer();
    if (choice.server)
        return std::make_unique<NatsBus>(*std::move(choice.server));
    if (choice.fault.empty())
        return std::make_unique<EmbeddedBus>();
    report(u"there is no bus: " + choice.fault + u".");
    return std::make_unique<NoBus>();
}

}  // namespace MessageBus
