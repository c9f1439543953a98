// The requests of one client that wait for their reply.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <unordered_map>

#include "bus/BusCallbacks.h"
#include "bus/PendingReply.h"
#include "platform/Sync.h"

namespace Tavix {

// Outlives its client while a reply is being handled; what is then still pending is abandoned.
class PendingRequests final : public ReplyReceiver {
public:
    // Runs when the request has ended, under the pending lock.
    using Completion = std::function<void(std::shared_ptr<PendingReply>)>;
    struct Entry {
        uint64_t index;
        std::shared_ptr<PendingReply> future;
    };

    // Nothing when the entry cannot be made.
    std::optional<Entry> add(Completion completion);
    void remove(uint64_t index);

    uint32_t replyCallback(uint64_t replyIndex, const std::shared_ptr<Message>& message,
                           uint32_t status) override;

private:
    struct Pending {
        ReplyPromise promise;
        Completion completion;
    };

    // Held while a completion runs, so that must not send a request on the same client. Never held together
    // with the subscription lock, nor while a request is sent.
    Platform::Mutex pendingMutex_;
    uint64_t nextReplyIndex_ GUARDED_BY(pendingMutex_) = 0;
    std::unordered_map<uint64_t, Pending> pending_ GUARDED_BY(pendingMutex_);
};

}  // namespace Tavix
