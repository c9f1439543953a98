// What every module has: its names and properties, the host's module manager and a bus.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "bus/MessageBus.h"
#include "module/IOCContainer.h"
#include "module/Module.h"
#include "module/ModuleManagerShim.h"
#include "platform/Sync.h"

namespace Tavix {

using ModuleProperties = std::map<std::u16string, std::u16string>;

// A derived module publishes and subscribes through itself: every bus operation goes to the bus that
// baseInitialize was given, and gives MODULE_STATUS_INVALID_STATE before.
class BaseModule : public Module, protected MessageBus {
public:
    // An empty container is replaced by a new one.
    explicit BaseModule(std::shared_ptr<Ferrow::IOCContainer> container = nullptr);
    // Lets go of the bus.
    ~BaseModule() override;

    // Do nothing.
    uint32_t initialize() override;
    uint32_t start() override;
    uint32_t stop() override;
    uint32_t uninitialize() override;

    // Binds the module. Registers the bus in the container as the unnamed Tavix::MessageBus. Must precede
    // directMessage; may be called again, which replaces everything: the bus that was there is shut down, and
    // kept for what still publishes through it.
    virtual uint32_t baseInitialize(const std::u16string& moduleName, const std::u16string& moduleIdentifier,
                                    const ModuleProperties& properties,
                                    std::shared_ptr<internal::ModuleManagerShim> moduleManager,
                                    std::shared_ptr<MessageBus> messageBus);
    // Lets go of replaced buses that nobody uses any more, which may wait for their callbacks. Called by the
    // host's lifecycle thread, so that no other is the last to use them: one of the bus's would leave the
    // wait to whoever lets go of a bus next, and that one may be what the callbacks wait for.
    void releaseReplacedBuses();
    // Runs the callbacks of the matching subscriptions on the calling thread.
    uint32_t directMessage(const std::shared_ptr<Message>& message);

    // Set by baseInitialize; for the host's lifecycle thread.
    const std::u16string& moduleName() const noexcept { return moduleName_; }
    const std::u16string& moduleIdentifier() const noexcept { return moduleIdentifier_; }
    const ModuleProperties& properties() const noexcept { return properties_; }
    const std::shared_ptr<Ferrow::IOCContainer>& container() const noexcept { return container_; }

protected:
    uint32_t publish(const std::shared_ptr<Message>& message) override;
    uint32_t publishAlternate(const std::shared_ptr<Message>& message) override;
    uint32_t request(const std::shared_ptr<Message>& message, CompletionCallback completion,
                     Timeout timeout) override;
    uint32_t request(const std::shared_ptr<Message>& message, std::shared_ptr<Reply>& reply,
                     Timeout timeout) override;
    uint32_t requestAlternate(const std::shared_ptr<Message>& message, CompletionCallback completion,
                              Timeout timeout) override;
    uint32_t requestAlternate(const std::shared_ptr<Message>& message, std::shared_ptr<Reply>& reply,
                              Timeout timeout) override;
    uint32_t subscribe(const std::u16string& name, const std::u16string& alias,
                       MessageCallback callback) override;
    uint32_t subscribe(const std::u16string& name, MessageCallback callback) override;
    uint32_t subscribeForSession(const std::u16string& name, const std::u16string& alias,
                                 MessageCallback callback) override;
    uint32_t subscribeForSession(const std::u16string& name, MessageCallback callback) override;
    uint32_t subscribeFilter(const std::u16string& pattern, const std::u16string& alias,
                             MessageCallback callback) override;
    uint32_t subscribeFilter(const std::u16string& pattern, MessageCallback callback) override;
    uint32_t subscribeFilterForSession(const std::u16string& pattern, const std::u16string& alias,
                                       MessageCallback callback) override;
    uint32_t subscribeFilterForSession(const std::u16string& pattern, MessageCallback callback) override;
    uint32_t unsubscribe(const std::u16string& alias) override;

private:
    std::shared_ptr<MessageBus> bus() const;
    template <class Operation>
    uint32_t onBus(Operation&& operation);

    const std::shared_ptr<Ferrow::IOCContainer> container_;
    std::u16string moduleName_;
    std::u16string moduleIdentifier_;
    ModuleProperties properties_;
    std::shared_ptr<internal::ModuleManagerShim> moduleManager_;
    std::vector<std::shared_ptr<MessageBus>> replacedBuses_;  // the lifecycle thread's
    // Leaf. Handlers of an earlier bus may run while another baseInitialize replaces it.
    mutable Platform::Mutex busMutex_;
    std::shared_ptr<MessageBus> messageBus_ GUARDED_BY(busMutex_);
};

}  // namespace Tavix
