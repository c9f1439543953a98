#include "bus/PendingRequests.h"

#include <utility>

#include "logging/Log.h"

namespace Tavix {
namespace {

constexpr std::u16string_view logSource = u"MessageBusClient";  // compat

ReplyOutcome outcomeOf(const std::shared_ptr<Message>& message, uint32_t status) {
    switch (status) {
        case MODULE_STATUS_SUCCESS:
            return {message, 0};
        case MODULE_STATUS_TIMEOUT:
            return {nullptr, replyCancelled};
        default:
            return {nullptr, replyMissing};
    }
}

}  // namespace

std::optional<PendingRequests::Entry> PendingRequests::add(Completion completion) {
    Pending pending{{}, std::move(completion)};
    std::shared_ptr<PendingReply> future = pending.promise.future();
    Platform::MutexLock lock(pendingMutex_);
    const uint64_t index = nextReplyIndex_++;
    if (!pending_.try_emplace(index, std::move(pending)).second)
        return std::nullopt;
    return Entry{index, std::move(future)};
}

void PendingRequests::remove(uint64_t index) {
    // What the caller's completion holds ends outside the lock.
    decltype(pending_)::node_type removed;
    Platform::MutexLock lock(pendingMutex_);
    removed = pending_.extract(index);
}

uint32_t PendingRequests::replyCallback(uint64_t replyIndex, const std::shared_ptr<Message>& message,
                                        uint32_t status) {
    decltype(pending_)::node_type ended;
    Platform::MutexLock lock(pendingMutex_);
    // Taken out first: a completion that throws leaves no entry behind.
    ended = pending_.extract(replyIndex);
    if (!ended) {
        LOG_MESSAGE(ETWLogging::levelWarning, u"Tavix::MessageBusClient::replyCallback",
                    u"Reply index not found. Returning");
        return MODULE_STATUS_NOT_FOUND;
    }
    Pending& request = ended.mapped();
    request.promise.settle(outcomeOf(message, status));
    if (request.completion)
        request.completion(request.promise.future());
    return MODULE_STATUS_SUCCESS;
}

}  // namespace Tavix
