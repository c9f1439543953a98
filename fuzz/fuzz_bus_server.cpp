// Any bytes as what a server sends, in any pieces, and its messages as messages of the bus: what is
// understood can be written and read again.
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "host/bus/nats/ServerAddress.h"
#include "host/bus/nats/ServerParser.h"
#include "host/bus/nats/Subject.h"
#include "host/bus/nats/WireMessage.h"

namespace {

using namespace MessageBus;

void require(bool condition, const char* what) {
    if (condition)
        return;
    std::fprintf(stderr, "violated: %s\n", what);
    std::abort();
}

void readAsMessage(std::string_view bytes) {
    const auto message = WireMessage::decode(bytes);
    if (!message)
        return;
    std::string written;
    message->appendTo(written);
    require(written.size() == bytes.size(), "a message keeps its size");
    const auto again = WireMessage::decode(written);
    require(again && again->name == message->name && again->payload == message->payload, "texts survive");
    require(subjectOf(unitsOf(message->name)).size() < longestSubject + 32, "subjects are bounded");
    patternSubject(unitsOf(message->name));
}

struct Events final : ServerEvents {
    void info(std::string_view) override { ++count; }
    void message(const ServerMessage& message) override {
        ++count;
        seen += message.subject.size() + message.reply.size() + message.payload.size();
        readAsMessage(message.payload);
    }
    void ping() override { ++count; }
    void pong() override { ++count; }
    void error(std::string_view) override { ++count; }
    size_t count = 0;
    size_t seen = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0)
        return 0;
    const std::string_view bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
    readAsMessage(bytes);
    std::u16string why;
    ServerAddress::parse(bytes, why);

    Events whole, pieces;
    ServerParser one, other;
    const bool isProtocol = one.feed(bytes, whole);
    const size_t step = data[0] % 16 + 1;
    bool isOthers = true;
    for (size_t at = 0; at < bytes.size() && isOthers; at += step)
        isOthers = other.feed(bytes.substr(at, step), pieces);
    require(isProtocol == isOthers && whole.count == pieces.count && whole.seen == pieces.seen,
            "pieces are read as the whole is");
    return 0;
}
