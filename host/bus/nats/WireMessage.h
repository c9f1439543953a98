// How a message stands in the payload of the server's messages. docs/bus.md says it for other languages.
//
//  offset  bytes  what, numbers with their low bytes first
//       0      4  "BMSG"
//       4      1  version, 1
//       5      1  kind: WireKind
//       6      2  flags: wireCopy
//       8     16  the publishing process, a random number of its own; zeros for one that has none
//      24      8  the handle in that process; of a census, its answer, and copies of what answers a request,
//                 the request's sequence number
//      32      8  sequence number among the messages of the process, from 1; 0 when they are not numbered
//      40      4  of a request, its time-out in milliseconds; of a refusal, the status; of an answer to a
//                 census, a CensusState
//      44      4  UTF-16 units of the name, at most 2^24
//      48      4  of the sender
//      52      4  of the payload
//      56    108  MessageHeader (include/brevant/message.h)
//     164         the units of name, sender and payload, without zeros between them; nothing follows
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <brevant/message.h>

namespace MessageBus {

using ProcessId = std::array<unsigned char, 16>;

enum class WireKind : uint8_t {
    message = 1,
    request = 2,
    reply = 3,
    refusal = 4,  // all receivers of a request in one process have returned failures, or there are none
    // Between the processes of the bus.
    join = 16,           // the process is there
    leave = 17,          // and gone
    addPattern = 18,     // the name is a pattern whose requests are to be sent to the process
    removePattern = 19,  // no longer
    addObserver = 20,    // the same for copies of requests and of what answers them
    removeObserver = 21,
    list = 22,     // tell me of yourself
    census = 23,   // what has become of the request?
    counted = 24,  // this
};

enum class CensusState : uint32_t { unknown, running, accepted };

// Made for an observer; nobody else takes it. The requester makes all of them, under its own process id. In
// the handle's place a reply or a refusal has the sequence number of the request, whose own copy has it as
// its sequence number.
constexpr uint16_t wireCopy = 1;

struct WireMessage {
    WireKind kind = WireKind::message;
    uint16_t flags = 0;
    ProcessId process{};
    uint64_t handle = 0;
    uint64_t sequence = 0;
    uint32_t value = 0;
    MessageHeader header = brevantDefaultHeader();
    // The bytes of UTF-16 units, without zeros among them.
    std::string_view name{};
    std::string_view sender{};
    std::string_view payload{};

    // Nothing when the bytes are anything else. The texts lie in the bytes.
    static std::optional<WireMessage> decode(std::string_view bytes);
    size_t size() const noexcept;
    void appendTo(std::string& bytes) const;
};

constexpr size_t wireSequenceOffset = 32;

// A text as the bytes that it is made of, and back.
inline std::string_view bytesOf(std::u16string_view text) noexcept {
    return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(char16_t)};
}
std::u16string unitsOf(std::string_view bytes);

}  // namespace MessageBus
