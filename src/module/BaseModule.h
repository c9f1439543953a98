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

// A derived module publishes and subscribes through itself, on the bus that baseInitialize was given.
//
//                        | no bus yet                  | bound                     | bound again
//   bus operations       | MODULE_STATUS_INVALID_STATE | go to the bus             | go to the newest bus
//   directMessage        | MODULE_STATUS_INVALID_STATE | runs the bus's callbacks  | those of the newest bus
//   baseInitialize       | binds                       | binds again               | binds again
//   releaseReplacedBuses | nothing                     | nothing                   | lets go of unused buses
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

    // Binds the module: takes over names, properties, module manager and bus, and registers the bus in the
    // container as the unnamed Tavix::MessageBus. When the module is bound already it shuts the bus down that
    // was there, and keeps it for handlers that still publish through it.
    virtual uint32_t baseInitialize(const std::u16string& moduleName, const std::u16string& moduleIdentifier,
                                    const ModuleProperties& properties,
                                    std::shared_ptr<internal::ModuleManagerShim> moduleManager,
                                    std::shared_ptr<MessageBus> messageBus);
    // Lets go of the replaced buses that no handler uses any more; waits for their running callbacks. Only
    // the host's lifecycle thread calls it. A thread of the bus must not: it could not wait, and the wait
    // would fall to the next one that lets go of a bus, who may hold what the callbacks need.
    void releaseReplacedBuses();
    // Runs the callbacks of the matching subscriptions on the calling thread.
    uint32_t directMessage(const std::shared_ptr<Message>& message);

    // Set by baseInitialize; for the host's lifecycle thread.
    const std::u16string& moduleName() const noexcept { return moduleName_; }
    const std::u16string& moduleIdentifier() const noexcept { return moduleIdentifier_; }  // compat
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
