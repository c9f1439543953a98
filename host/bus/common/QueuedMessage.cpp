#include "host/bus/common/QueuedMessage.h"

#include <algorithm>
#include <cstring>

#include "text/TextLength.h"

namespace MessageBus {

namespace {

// What holds a message, at worst: a backlog of its own for each receiver.
constexpr size_t bytesPerDelivery = 256;

}  // namespace

bool MessageAccount::charge(size_t bytes) noexcept {
    size_t before = bytes_.load(std::memory_order_relaxed);
    do {
        if (bytes > limit_ || before > limit_ - bytes)
            return false;
    } while (!bytes_.compare_exchange_weak(before, before + bytes, std::memory_order_relaxed));
    if (!whole_ || whole_->charge(bytes))
        return true;
    bytes_.fetch_sub(bytes, std::memory_order_relaxed);
    return false;
}

void MessageAccount::chargeAnyway(size_t bytes) noexcept {
    bytes_.fetch_add(bytes, std::memory_order_relaxed);
    if (whole_)
        whole_->chargeAnyway(bytes);
}

void MessageAccount::refund(size_t bytes) noexcept {
    bytes_.fetch_sub(bytes, std::memory_order_relaxed);
    if (whole_)
        whole_->refund(bytes);
}

std::shared_ptr<QueuedMessage> QueuedMessage::copy(std::shared_ptr<MessageAccount> account, size_t receivers,
                                                   const MessageHeader& header, const char16_t* name,
                                                   const char16_t* sender, const char16_t* payload) {
    const size_t nameUnits = Ferrow::textLength(name) + 1;
    const size_t senderUnits = Ferrow::textLength(sender) + 1;
    const size_t payloadUnits = Ferrow::textLength(payload) + 1;
    const size_t units = nameUnits + senderUnits + payloadUnits;
    const size_t bytes = sizeof(QueuedMessage) + units * sizeof(char16_t) + receivers * bytesPerDelivery;
    MessageCharge charge(std::move(account), bytes);
    if (!charge)
        return nullptr;
    std::shared_ptr<QueuedMessage> message(new QueuedMessage(std::move(charge)));
    message->texts_.reset(new char16_t[units]);
    char16_t* const texts = message->texts_.get();
    std::copy_n(name, nameUnits, texts);
    message->sender_ = std::copy_n(sender, senderUnits, texts + nameUnits) - senderUnits;
    message->payload_ = std::copy_n(payload, payloadUnits, texts + nameUnits + senderUnits) - payloadUnits;
    message->header = header;
    return message;
}

std::shared_ptr<QueuedMessage> QueuedMessage::copy(std::shared_ptr<MessageAccount> account, size_t receivers,
                                                   const MessageHeader& header, std::string_view name,
                                                   std::string_view sender, std::string_view payload,
                                                   bool mustPay) {
    const size_t units = (name.size() + sender.size() + payload.size()) / sizeof(char16_t) + 3;
    const size_t bytes = sizeof(QueuedMessage) + units * sizeof(char16_t) + receivers * bytesPerDelivery;
    MessageCharge charge =
        mustPay ? MessageCharge::anyway(std::move(account), bytes) : MessageCharge(std::move(account), bytes);
    if (!charge)
        return nullptr;
    std::shared_ptr<QueuedMessage> message(new QueuedMessage(std::move(charge)));
    message->texts_.reset(new char16_t[units]);
    char16_t* at = message->texts_.get();
    const auto append = [&at](std::string_view text) {
        const char16_t* const begin = at;
        std::memcpy(at, text.data(), text.size());
        at += text.size() / sizeof(char16_t);
        *at++ = u'\0';
        return begin;
    };
    append(name);
    message->sender_ = append(sender);
    message->payload_ = append(payload);
    message->header = header;
    return message;
}

}  // namespace MessageBus
