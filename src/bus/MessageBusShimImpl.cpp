#include "bus/MessageBusShimImpl.h"

#include "bus/BusCallbacks.h"
#include "logging/Log.h"
#include "status/ModuleException.h"

namespace Tavix {
namespace {

constexpr std::u16string_view logSource = u"MessageBusShimImpl";

// To the bus a name ends at its first zero, and would be another.
bool canBeName(const std::u16string& text) noexcept {
    return text.find(u'\0') == std::u16string::npos;
}

}  // namespace

MessageBusShimImpl::MessageBusShimImpl(BrevantBusHandle handle, const BrevantBusFunctions* functions)
    : handle_(handle), functions_(functions) {
    constexpr std::u16string_view function = u"Tavix::MessageBusShimImpl::MessageBusShimImpl";
    if (!handle_) {
        LOG_MESSAGE(ETWLogging::levelError, function,
                    u"Invalid message bus handle. Throwing ModuleException.");
        throw ModuleException("Invalid message bus handle");
    }
    if (!functions_) {
        LOG_MESSAGE(ETWLogging::levelError, function,
                    u"Invalid message bus functions object. Throwing ModuleException.");
        throw ModuleException("Invalid message bus functions object");
    }
}

uint32_t MessageBusShimImpl::publish(const std::shared_ptr<Message>& message, bool alternate) {
    if (!message || !canBeName(message->name()))
        return MODULE_STATUS_INVALID_PARAMETER;
    const auto entry = alternate ? functions_->publishAlternate : functions_->publish;
    return entry ? entry(handle_, message->header(), message->name().c_str(), message->sender().c_str(),
                         message->payload().c_str())
                 : MODULE_STATUS_NOT_SUPPORTED;
}

uint32_t MessageBusShimImpl::request(const std::shared_ptr<Message>& message, uint64_t replyIndex,
                                     BusContext replyContext, uint32_t timeoutMilliseconds, bool alternate) {
    if (!message || !canBeName(message->name()))
        return MODULE_STATUS_INVALID_PARAMETER;
    const auto entry = alternate ? functions_->requestAlternate : functions_->request;
    return entry ? entry(handle_, replyIndex, replyContext, &brevantReplyFunction, message->header(),
                         message->name().c_str(), message->sender().c_str(), message->payload().c_str(),
                         timeoutMilliseconds)
                 : MODULE_STATUS_NOT_SUPPORTED;
}

uint32_t MessageBusShimImpl::releaseReplyFunction() {
    return functions_->releaseReplyFunction ? functions_->releaseReplyFunction(handle_, &brevantReplyFunction)
                                            : MODULE_STATUS_NOT_SUPPORTED;
}

uint32_t MessageBusShimImpl::subscribe(const std::u16string& name, BusContext context) {
    return functions_->subscribe && canBeName(name)
               ? functions_->subscribe(handle_, context, &brevantMessageFunction, name.c_str())
               : 0;
}

uint32_t MessageBusShimImpl::subscribeFilter(const std::u16string& pattern, BusContext context) {
    return functions_->subscribePattern && canBeName(pattern)
               ? functions_->subscribePattern(handle_, context, &brevantMessageFunction, pattern.c_str())
               : 0;
}

uint32_t MessageBusShimImpl::unsubscribe(uint32_t subscriptionId) {
    return functions_->unsubscribe ? functions_->unsubscribe(handle_, subscriptionId)
                                   : MODULE_STATUS_NOT_SUPPORTED;
}

}  // namespace Tavix
