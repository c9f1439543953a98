#include "host/bus/embedded/EmbeddedBus.h"

#include <utility>

#include "host/bus/common/RequestIdentity.h"

namespace MessageBus {

uint32_t EmbeddedBus::send(BrevantBusHandle handle, const MessageHeader& header, const Texts& texts,
                           const Answer* answer) {
    const auto publication = std::make_shared<Publication>();
    Receivers& receivers = publication->receivers;
    std::vector<SubscriptionIndex::Candidate> candidates;
    std::shared_ptr<Handle> publisher;
    std::shared_ptr<Outbox> outbox;
    {
        Platform::MutexLock lock(mutex_);
        publisher = find(handle);
        if (!publisher)
            return MODULE_STATUS_INVALID_HANDLE;
        index_.collect(texts.name, receivers, candidates);
        if (receivers.count() != 0 || !candidates.empty()) {
            if (!publisher->outbox)
                publisher->outbox = std::make_shared<Outbox>(pool(), calls_, backlogs_);
            outbox = publisher->outbox;
            if (answer)
                noteFunction(*publisher, identityOf(answer->function));
        }
    }
    match(texts.name, candidates, receivers);
    if (receivers.count() == 0)
        return answer ? MODULE_STATUS_NO_SUBSCRIBERS : MODULE_STATUS_SUCCESS;
    const auto message = QueuedMessage::copy(publisher->account, receivers.count(), header, texts.name,
                                             texts.sender, texts.payload);
    if (!message)
        return MODULE_STATUS_NO_MEMORY;
    publication->message = message;
    if (!answer) {
        deliver(outbox, publication, WorkerPool::Poster::returns);
        return MODULE_STATUS_SUCCESS;
    }
    const auto request = std::make_shared<Request>(requests_, outbox->pool, *answer, receivers.count());
    publication->request = request;
    if (const uint32_t status = requests_.open(publisher->requester, request, message->header);
        status != MODULE_STATUS_SUCCESS)
        return status;
    try {
        deliver(outbox, publication, WorkerPool::Poster::waits);
    } catch (...) {
        requests_.cancel(*request);
        throw;
    }
    return MODULE_STATUS_SUCCESS;
}

uint32_t EmbeddedBus::reply(BrevantBusHandle handle, const MessageHeader& header, const Texts& texts) {
    std::shared_ptr<MessageAccount> account;
    {
        Platform::MutexLock lock(mutex_);
        const std::shared_ptr<Handle> replier = find(handle);
        if (!replier)
            return MODULE_STATUS_INVALID_HANDLE;
        account = replier->account;
    }
    RequestIdentity identity{};
    if (!identity.readFrom(header) || !requests_.hasIssued(identity))
        return MODULE_STATUS_NOT_FOUND;
    auto message =
        QueuedMessage::copy(std::move(account), 1, header, texts.name, texts.sender, texts.payload);
    if (!message)
        return MODULE_STATUS_NO_MEMORY;
    requests_.reply(identity, std::move(message));
    return MODULE_STATUS_SUCCESS;
}

}  // namespace MessageBus
