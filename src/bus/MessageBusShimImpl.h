// The binding over a bus handle and its function table.
#pragma once

#include <memory>
#include <string>

#include "bus/MessageBusShim.h"

namespace Tavix {

// Uses the handle and never releases it: both belong to who handed them over and must outlive this object.
// Any thread. An entry that the table lacks fails with MODULE_STATUS_NOT_SUPPORTED.
class MessageBusShimImpl : public MessageBusShim {
public:
    // Throws ModuleException when either is null.
    MessageBusShimImpl(BrevantBusHandle handle, const BrevantBusFunctions* functions);

    uint32_t publish(const std::shared_ptr<Message>& message, bool alternate) override;
    uint32_t request(const std::shared_ptr<Message>& message, uint64_t replyIndex, BusContext replyContext,
                     uint32_t timeoutMilliseconds, bool alternate) override;
    uint32_t releaseReplyFunction() override;
    uint32_t subscribe(const std::u16string& name, BusContext context) override;
    uint32_t subscribeFilter(const std::u16string& pattern, BusContext context) override;
    uint32_t unsubscribe(uint32_t subscriptionId) override;

private:
    BrevantBusHandle handle_;
    const BrevantBusFunctions* functions_;
};

}  // namespace Tavix
