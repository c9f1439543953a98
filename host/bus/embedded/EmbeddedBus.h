// The message bus of one process.
#pragma once

#include "host/bus/common/Bus.h"

namespace MessageBus {

// Delivers to the receivers that it finds when a message is published.
class EmbeddedBus final : public Bus {
public:
    explicit EmbeddedBus(const PoolLimits& limits = {}) : Bus(limits) {}

private:
    uint32_t send(BrevantBusHandle handle, const MessageHeader& header, const Texts& texts,
                  const Answer* answer) override;
    uint32_t reply(BrevantBusHandle handle, const MessageHeader& header, const Texts& texts) override;
};

}  // namespace MessageBus
