// A message on its way.
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <string_view>
#include <utility>

#include <brevant/message.h>

namespace MessageBus {

// Counts the bytes of messages on their way, for one handle and for the bus.
class MessageAccount {
public:
    explicit MessageAccount(size_t limit, std::shared_ptr<MessageAccount> whole = nullptr) noexcept
        : limit_(limit), whole_(std::move(whole)) {}

    // False, with nothing counted, when a limit would be passed.
    bool charge(size_t bytes) noexcept;
    // Counts them whatever the limits.
    void chargeAnyway(size_t bytes) noexcept;
    void refund(size_t bytes) noexcept;

private:
    const size_t limit_;
    const std::shared_ptr<MessageAccount> whole_;
    std::atomic<size_t> bytes_{0};
};

// Bytes that are given back at the end.
class MessageCharge {
public:
    MessageCharge(std::shared_ptr<MessageAccount> account, size_t bytes) noexcept
        : account_(std::move(account)), bytes_(account_->charge(bytes) ? bytes : 0) {}
    // Charged, whatever the limits.
    static MessageCharge anyway(std::shared_ptr<MessageAccount> account, size_t bytes) noexcept {
        account->chargeAnyway(bytes);
        return {std::move(account), Counted{bytes}};
    }
    ~MessageCharge() {
        if (account_)
            account_->refund(bytes_);
    }
    MessageCharge(MessageCharge&&) noexcept = default;
    MessageCharge& operator=(MessageCharge&& other) noexcept {
        std::swap(account_, other.account_);
        std::swap(bytes_, other.bytes_);
        return *this;
    }
    explicit operator bool() const noexcept { return bytes_ != 0; }

private:
    struct Counted {
        size_t bytes;
    };
    MessageCharge(std::shared_ptr<MessageAccount> account, Counted counted) noexcept
        : account_(std::move(account)), bytes_(counted.bytes) {}

    std::shared_ptr<MessageAccount> account_;
    size_t bytes_;
};

// Copied once from the publisher's texts and shared by all deliveries. The header may be changed until the
// first delivery is queued.
class QueuedMessage {
public:
    // receivers is how many deliveries the account is to pay for. Null when it cannot.
    static std::shared_ptr<QueuedMessage> copy(std::shared_ptr<MessageAccount> account, size_t receivers,
                                               const MessageHeader& header, const char16_t* name,
                                               const char16_t* sender, const char16_t* payload);
    // The same of texts without zeros at their ends, in the bytes of UTF-16 units. With mustPay the account
    // pays whatever its limit.
    static std::shared_ptr<QueuedMessage> copy(std::shared_ptr<MessageAccount> account, size_t receivers,
                                               const MessageHeader& header, std::string_view name,
                                               std::string_view sender, std::string_view payload,
                                               bool mustPay);
    MessageHeader header;
    const char16_t* name() const noexcept { return texts_.get(); }
    const char16_t* sender() const noexcept { return sender_; }
    const char16_t* payload() const noexcept { return payload_; }

private:
    explicit QueuedMessage(MessageCharge charge) noexcept : charge_(std::move(charge)) {}

    const MessageCharge charge_;
    std::unique_ptr<char16_t[]> texts_;
    const char16_t* sender_ = nullptr;
    const char16_t* payload_ = nullptr;
};

}  // namespace MessageBus
