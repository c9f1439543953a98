// The binding that loads the message bus library itself and acquires a handle of its own.
#pragma once

#include <memory>
#include <string>

#include "bus/MessageBusShim.h"
#include "bus/RunningCallbacks.h"

namespace Tavix {

class SharedLibrary;

// Any thread.
class MessageBusLib : public MessageBusShim {
public:
    // An empty library is loaded from "$(App.Folder)" or "$(Ostrel.InstallDir)"; an empty inner binding is
    // made over the handle that the library gives. Throws ModuleException.
    explicit MessageBusLib(std::shared_ptr<SharedLibrary> library = nullptr,
                           std::shared_ptr<MessageBusShim> inner = nullptr);
    // Lets go of the inner binding, the handle and the library, in this order.
    ~MessageBusLib() override;
    MessageBusLib(const MessageBusLib&) = delete;
    MessageBusLib& operator=(const MessageBusLib&) = delete;

    uint32_t publish(const std::shared_ptr<Message>& message, bool alternate) override;
    uint32_t request(const std::shared_ptr<Message>& message, uint64_t replyIndex, BusContext replyContext,
                     uint32_t timeoutMilliseconds, bool alternate) override;
    uint32_t releaseReplyFunction() override;
    uint32_t subscribe(const std::u16string& name, BusContext context) override;
    uint32_t subscribeFilter(const std::u16string& pattern, BusContext context) override;
    uint32_t unsubscribe(uint32_t subscriptionId) override;

private:
    // Holds the library and, over it, the handle.
    class Connection {
    public:
        explicit Connection(std::shared_ptr<SharedLibrary> library);
        ~Connection();
        Connection(const Connection&) = delete;
        Connection& operator=(const Connection&) = delete;

        BrevantBusHandle handle() const noexcept { return handle_; }
        const BrevantBusFunctions* functions() const noexcept { return functions_; }

    private:
        std::unique_ptr<BusLibraryReference> library_;
        const BrevantBusFunctions* functions_ = nullptr;
        BrevantBusHandle handle_ = nullptr;
    };

    std::unique_ptr<Connection> connection_;
    std::shared_ptr<MessageBusShim> inner_;
};

}  // namespace Tavix
