#include "bus/MessageBusLib.h"

#include <utility>

#include "bus/BusLibrary.h"
#include "bus/MessageBusShimImpl.h"
#include "bus/PerfTimer.h"
#include "library/SharedLibrary.h"
#include "logging/Log.h"
#include "status/ModuleException.h"
#include "status/ModuleStatus.h"

namespace Tavix {
namespace {

constexpr std::u16string_view logSource = u"MessageBusLib";
constexpr std::u16string_view constructor = u"Tavix::MessageBusLib::MessageBusLib";

}  // namespace

MessageBusLib::Connection::Connection(std::shared_ptr<SharedLibrary> library)
    : library_(new BusLibraryReference{std::move(library), nullptr}) {
    functions_ = static_cast<const BrevantBusFunctions*>(
        library_->library->getFunctions()->createObject(BREVANT_BUS_VERSION));
    if (!functions_) {
        LOG_MESSAGE(ETWLogging::levelError, constructor,
                    u"Failed to get message bus functions object. Throwing ModuleException.");
        throw ModuleException("Failed to get message bus functions object");
    }
    const uint32_t status =
        functions_->acquireHandle ? functions_->acquireHandle(&handle_) : MODULE_STATUS_NOT_SUPPORTED;
    if (status != MODULE_STATUS_SUCCESS) {
        LOG_FORMATTED(ETWLogging::levelError, constructor,
                      u"Failed to get message bus handle. Error code: %ls(%lu). Throwing ModuleException.",
                      moduleStatusName(status), status);
        throw ModuleException("Failed to get message bus handle");
    }
}

MessageBusLib::Connection::~Connection() {
    if (!handle_)
        return;
    try {
        const uint32_t status =
            functions_->releaseHandle ? functions_->releaseHandle(handle_) : MODULE_STATUS_NOT_SUPPORTED;
        if (status != MODULE_STATUS_SUCCESS)
            LOG_FORMATTED(ETWLogging::levelWarning, u"Tavix::MessageBusLib::~MessageBusLib",
                          u"Failed to release message bus. Error code %ls(%lu).", moduleStatusName(status),
                          status);
    } catch (...) {
        // The library is let go of all the same.
    }
    releaseBusLibrary(std::move(library_));
}

MessageBusLib::MessageBusLib(std::shared_ptr<SharedLibrary> library, std::shared_ptr<MessageBusShim> inner) {
    const internal::PerfTimer timer(u"MessageBusLib::MessageBusLib");
    connection_ = std::make_unique<Connection>(library ? std::move(library) : loadBusLibrary());
    inner_ = inner ? std::move(inner)
                   : std::make_shared<MessageBusShimImpl>(connection_->handle(), connection_->functions());
}

MessageBusLib::~MessageBusLib() = default;

uint32_t MessageBusLib::publish(const std::shared_ptr<Message>& message, bool alternate) {
    return inner_->publish(message, alternate);
}

uint32_t MessageBusLib::request(const std::shared_ptr<Message>& message, uint64_t replyIndex,
                                BusContext replyContext, uint32_t timeoutMilliseconds, bool alternate) {
    return inner_->request(message, replyIndex, replyContext, timeoutMilliseconds, alternate);
}

uint32_t MessageBusLib::releaseReplyFunction() {
    return inner_->releaseReplyFunction();
}

uint32_t MessageBusLib::subscribe(const std::u16string& name, BusContext context) {
    return inner_->subscribe(name, context);
}

uint32_t MessageBusLib::subscribeFilter(const std::u16string& pattern, BusContext context) {
    return inner_->subscribeFilter(pattern, context);
}

uint32_t MessageBusLib::unsubscribe(uint32_t subscriptionId) {
    return inner_->unsubscribe(subscriptionId);
}

}  // namespace Tavix
