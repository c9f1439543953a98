// The message record and its factories.
#pragma once

#include <memory>
#include <string>

#include <brevant/message.h>

namespace Tavix {

// Name, sender and payload never change. The header is the bus client's to change while it publishes.
class Message {
public:
    Message(std::u16string name, std::u16string sender, std::u16string payload);
    virtual ~Message() = default;
    Message(const Message&) = delete;
    Message& operator=(const Message&) = delete;

    const std::u16string& name() const noexcept { return name_; }
    const std::u16string& sender() const noexcept { return sender_; }
    const std::u16string& payload() const noexcept { return payload_; }
    MessageHeader* header() const noexcept { return &header_; }

private:
    std::u16string name_;
    std::u16string sender_;
    std::u16string payload_;
    mutable MessageHeader header_;
};

// The tail of a version 2 header, from byte 100 on.
#pragma pack(push, 1)
struct MessageExtension {
    uint16_t tag;
    uint16_t length;
    uint32_t sessionId;
};
#pragma pack(pop)

// An empty sender becomes the library's own file name. Null when memory is short.
std::shared_ptr<Message> makeMessage(std::u16string name, std::u16string sender,
                                     std::u16string payload) noexcept;

// A message that answers the request, correlated with it when it asked for a reply.
std::shared_ptr<Message> makeReply(const Message& request, std::u16string name, std::u16string sender,
                                   std::u16string payload) noexcept;

// Takes a received header over into a message; a version 1 header is brought to version 2, a null one leaves
// the default header.
void copyHeader(Message& message, const MessageHeader* received) noexcept;

// Null unless the header's version is 2.
MessageExtension* messageExtension(MessageHeader& header) noexcept;

}  // namespace Tavix
