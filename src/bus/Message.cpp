#include "bus/Message.h"

#include <utility>

#include "platform/DynamicLibrary.h"
#include "platform/ProcessWide.h"

namespace Tavix {
namespace {

// Header and the terminating zeros of the three texts.
constexpr size_t emptyMessageSize = sizeof(MessageHeader) + 3 * sizeof(char16_t);

uint32_t totalSizeOf(const Message& message) {
    const size_t units = message.name().size() + message.sender().size() + message.payload().size();
    return static_cast<uint32_t>(emptyMessageSize + units * sizeof(char16_t));
}

constinit Platform::ProcessWide<std::u16string> ownFileName;

std::unique_ptr<std::u16string> findOwnFileName() {
    constexpr size_t bufferLength = 260;
    const std::u16string path = Platform::libraryPathOf(reinterpret_cast<const void*>(&makeMessage));
    if (path.size() >= bufferLength)  // compat
        return std::make_unique<std::u16string>();
    return std::make_unique<std::u16string>(path.substr(path.rfind(u'\\') + 1));
}

}  // namespace

Message::Message(std::u16string name, std::u16string sender, std::u16string payload)
    : name_(std::move(name)),
      sender_(std::move(sender)),
      payload_(std::move(payload)),
      header_(brevantDefaultHeader()) {
    header_.totalSize = totalSizeOf(*this);
}

std::shared_ptr<Message> makeMessage(std::u16string name, std::u16string sender,
                                     std::u16string payload) noexcept {
    try {
        if (sender.empty())
            sender = ownFileName.get(findOwnFileName);
        return std::make_shared<Message>(std::move(name), std::move(sender), std::move(payload));
    } catch (...) {
        return nullptr;
    }
}

std::shared_ptr<Message> makeReply(const Message& request, std::u16string name, std::u16string sender,
                                   std::u16string payload) noexcept {
    auto reply = makeMessage(std::move(name), std::move(sender), std::move(payload));
    if (reply && (request.header()->flags & BREVANT_MESSAGE_REPLY_REQUESTED))
        brevantCorrelateReply(reply->header(), request.header());
    return reply;
}

void copyHeader(Message& message, const MessageHeader* received) noexcept {
    MessageHeader& header = *message.header();
    if (!received) {
        header = brevantDefaultHeader();
        header.totalSize = totalSizeOf(message);
        return;
    }
    header = brevantReadHeader(received);
    if (header.version == BREVANT_MESSAGE_VERSION)
        return;
    header.totalSize += sizeof(MessageHeader) - BREVANT_MESSAGE_V1_SIZE;
    header.version = BREVANT_MESSAGE_VERSION;
}

MessageExtension* messageExtension(MessageHeader& header) noexcept {
    if (header.version != BREVANT_MESSAGE_VERSION)
        return nullptr;
    return reinterpret_cast<MessageExtension*>(reinterpret_cast<unsigned char*>(&header) +
                                               offsetof(MessageHeader, extensionTag));
}

}  // namespace Tavix
