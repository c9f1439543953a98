#include "module/BaseModule.h"

#include "bus/MessageBusClient.h"
#include "logging/Log.h"
#include "status/ModuleStatus.h"

namespace Tavix {

namespace {
constexpr std::u16string_view logSource = u"BaseModule";
}

BaseModule::BaseModule(std::shared_ptr<Ferrow::IOCContainer> container)
    : container_(container ? std::move(container) : std::make_shared<Ferrow::IOCContainer>()) {}

BaseModule::~BaseModule() = default;

uint32_t BaseModule::initialize() {
    return MODULE_STATUS_SUCCESS;
}
uint32_t BaseModule::start() {
    return MODULE_STATUS_SUCCESS;
}
uint32_t BaseModule::stop() {
    return MODULE_STATUS_SUCCESS;
}
uint32_t BaseModule::uninitialize() {
    return MODULE_STATUS_SUCCESS;
}

uint32_t BaseModule::baseInitialize(const std::u16string& moduleName, const std::u16string& moduleIdentifier,
                                    const ModuleProperties& properties,
                                    std::shared_ptr<internal::ModuleManagerShim> moduleManager,
                                    std::shared_ptr<MessageBus> messageBus) {
    constexpr std::u16string_view function = u"Tavix::BaseModule::baseInitialize";
    moduleName_ = moduleName;
    moduleIdentifier_ = moduleIdentifier;
    properties_ = properties;
    if (!moduleManager) {
        LOG_MESSAGE(ETWLogging::levelError, function,
                    u"Invalid module manager object passed to base initialize.");
        return MODULE_STATUS_INVALID_PARAMETER;
    }
    moduleManager_ = std::move(moduleManager);
    if (!messageBus) {
        LOG_MESSAGE(ETWLogging::levelError, function,
                    u"Invalid message bus object passed to base initialize.");
        return MODULE_STATUS_INVALID_PARAMETER;
    }
    container_->registerFactory(
        std::make_shared<Ferrow::IOCInstanceReturningFactory<MessageBus>>(messageBus));
    replacedBuses_.reserve(replacedBuses_.size() + 1);
    {
        Platform::MutexLock lock(busMutex_);
        messageBus_.swap(messageBus);
    }
    if (const auto client = std::dynamic_pointer_cast<MessageBusClient>(messageBus))
        client->shutDown();
    if (messageBus)
        replacedBuses_.push_back(std::move(messageBus));
    return MODULE_STATUS_SUCCESS;
}

void BaseModule::releaseReplacedBuses() {
    std::erase_if(replacedBuses_, [](const auto& bus) { return bus.use_count() == 1; });
}

uint32_t BaseModule::directMessage(const std::shared_ptr<Message>& message) {
    constexpr std::u16string_view function = u"Tavix::BaseModule::directMessage";
    const auto client = std::dynamic_pointer_cast<MessageBusClient>(bus());
    if (!client) {
        LOG_MESSAGE(ETWLogging::levelError, function,
                    u"Failed to process direct message. Invalid message bus client.");
        return MODULE_STATUS_INVALID_STATE;
    }
    const uint32_t status = client->deliverLocally(message);
    if (status != MODULE_STATUS_SUCCESS) {
        LOG_FORMATTED(ETWLogging::levelError, function,
                      u"Failed to process direct message. Module: %ls. Module Status: %ls(%lu)", moduleName_,
                      moduleStatusName(status), status);
    }
    return status;
}

std::shared_ptr<MessageBus> BaseModule::bus() const {
    Platform::MutexLock lock(busMutex_);
    return messageBus_;
}

template <class Operation>
uint32_t BaseModule::onBus(Operation&& operation) {
    const std::shared_ptr<MessageBus> messageBus = bus();
    return messageBus ? operation(*messageBus) : MODULE_STATUS_INVALID_STATE;
}

uint32_t BaseModule::publish(const std::shared_ptr<Message>& message) {
    return onBus([&](MessageBus& bus) { return bus.publish(message); });
}

uint32_t BaseModule::publishAlternate(const std::shared_ptr<Message>& message) {
    return onBus([&](MessageBus& bus) { return bus.publishAlternate(message); });
}

uint32_t BaseModule::request(const std::shared_ptr<Message>& message, CompletionCallback completion,
                             Timeout timeout) {
    return onBus([&](MessageBus& bus) { return bus.request(message, std::move(completion), timeout); });
}

uint32_t BaseModule::request(const std::shared_ptr<Message>& message, std::shared_ptr<Reply>& reply,
                             Timeout timeout) {
    return onBus([&](MessageBus& bus) { return bus.request(message, reply, timeout); });
}

uint32_t BaseModule::requestAlternate(const std::shared_ptr<Message>& message, CompletionCallback completion,
                                      Timeout timeout) {
    return onBus(
        [&](MessageBus& bus) { return bus.requestAlternate(message, std::move(completion), timeout); });
}

uint32_t BaseModule::requestAlternate(const std::shared_ptr<Message>& message, std::shared_ptr<Reply>& reply,
                                      Timeout timeout) {
    return onBus([&](MessageBus& bus) { return bus.requestAlternate(message, reply, timeout); });
}

uint32_t BaseModule::subscribe(const std::u16string& name, const std::u16string& alias,
                               MessageCallback callback) {
    return onBus([&](MessageBus& bus) { return bus.subscribe(name, alias, std::move(callback)); });
}

uint32_t BaseModule::subscribe(const std::u16string& name, MessageCallback callback) {
    return onBus([&](MessageBus& bus) { return bus.subscribe(name, std::move(callback)); });
}

uint32_t BaseModule::subscribeForSession(const std::u16string& name, const std::u16string& alias,
                                         MessageCallback callback) {
    return onBus([&](MessageBus& bus) { return bus.subscribeForSession(name, alias, std::move(callback)); });
}

uint32_t BaseModule::subscribeForSession(const std::u16string& name, MessageCallback callback) {
    return onBus([&](MessageBus& bus) { return bus.subscribeForSession(name, std::move(callback)); });
}

uint32_t BaseModule::subscribeFilter(const std::u16string& pattern, const std::u16string& alias,
                                     MessageCallback callback) {
    return onBus([&](MessageBus& bus) { return bus.subscribeFilter(pattern, alias, std::move(callback)); });
}

uint32_t BaseModule::subscribeFilter(const std::u16string& pattern, MessageCallback callback) {
    return onBus([&](MessageBus& bus) { return bus.subscribeFilter(pattern, std::move(callback)); });
}

uint32_t BaseModule::subscribeFilterForSession(const std::u16string& pattern, const std::u16string& alias,
                                               MessageCallback callback) {
    return onBus(
        [&](MessageBus& bus) { return bus.subscribeFilterForSession(pattern, alias, std::move(callback)); });
}

uint32_t BaseModule::subscribeFilterForSession(const std::u16string& pattern, MessageCallback callback) {
    return onBus(
        [&](MessageBus& bus) { return bus.subscribeFilterForSession(pattern, std::move(callback)); });
}

uint32_t BaseModule::unsubscribe(const std::u16string& alias) {
    return onBus([&](MessageBus& bus) { return bus.unsubscribe(alias); });
}

}  // namespace Tavix
