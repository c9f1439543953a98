#include "host/bus/nats/WireMessage.h"

#include <bit>
#include <cstring>

namespace MessageBus {

namespace {

static_assert(std::endian::native == std::endian::little, "numbers and texts are copied as they are");

constexpr size_t textsOffset = 164;
constexpr uint32_t mostNameUnits = 1 << 24;
constexpr char magic[4] = {'B', 'M', 'S', 'G'};
constexpr uint8_t wireVersion = 1;

#pragma pack(push, 1)
struct Prefix {
    char magic[4];
    uint8_t version;
    uint8_t kind;
    uint16_t flags;
    ProcessId process;
    uint64_t handle;
    uint64_t sequence;
    uint32_t value;
    uint32_t nameUnits;
    uint32_t senderUnits;
    uint32_t payloadUnits;
    MessageHeader header;
};
#pragma pack(pop)
static_assert(sizeof(Prefix) == textsOffset);
static_assert(offsetof(Prefix, sequence) == wireSequenceOffset);

// Four units at a time.
bool hasZeroUnit(std::string_view text) noexcept {
    constexpr uint64_t ones = 0x0001000100010001, tops = 0x8000800080008000;
    uint64_t units;
    for (; text.size() >= sizeof units; text.remove_prefix(sizeof units)) {
        std::memcpy(&units, text.data(), sizeof units);
        if (((units - ones) & ~units & tops) != 0)
            return true;
    }
    for (; !text.empty(); text.remove_prefix(sizeof(char16_t)))
        if (text[0] == '\0' && text[1] == '\0')
            return true;
    return false;
}

uint32_t unitCount(std::string_view text) noexcept {
    return static_cast<uint32_t>(text.size() / sizeof(char16_t));
}

}  // namespace

std::optional<WireMessage> WireMessage::decode(std::string_view bytes) {
    Prefix prefix;
    if (bytes.size() < sizeof prefix)
        return std::nullopt;
    std::memcpy(&prefix, bytes.data(), sizeof prefix);
    const uint64_t units = uint64_t{prefix.nameUnits} + prefix.senderUnits + prefix.payloadUnits;
    if (std::memcmp(prefix.magic, magic, sizeof magic) != 0 || prefix.version != wireVersion ||
        prefix.nameUnits > mostNameUnits || units * sizeof(char16_t) != bytes.size() - sizeof prefix)
        return std::nullopt;
    WireMessage message;
    message.kind = WireKind{prefix.kind};
    message.flags = prefix.flags;
    message.process = prefix.process;
    message.handle = prefix.handle;
    message.sequence = prefix.sequence;
    message.value = prefix.value;
    message.header = brevantReadHeader(&prefix.header);
    bytes.remove_prefix(sizeof prefix);
    if (hasZeroUnit(bytes))
        return std::nullopt;
    message.name = bytes.substr(0, prefix.nameUnits * sizeof(char16_t));
    bytes.remove_prefix(message.name.size());
    message.sender = bytes.substr(0, prefix.senderUnits * sizeof(char16_t));
    message.payload = bytes.substr(message.sender.size());
    return message;
}

size_t WireMessage::size() const noexcept {
    return textsOffset + name.size() + sender.size() + payload.size();
}

void WireMessage::appendTo(std::string& bytes) const {
    Prefix prefix{};
    std::memcpy(prefix.magic, magic, sizeof magic);
    prefix.version = wireVersion;
    prefix.kind = static_cast<uint8_t>(kind);
    prefix.flags = flags;
    prefix.process = process;
    prefix.handle = handle;
    prefix.sequence = sequence;
    prefix.value = value;
    prefix.nameUnits = unitCount(name);
    prefix.senderUnits = unitCount(sender);
    prefix.payloadUnits = unitCount(payload);
    prefix.header = header;
    bytes.append(reinterpret_cast<const char*>(&prefix), sizeof prefix);
    bytes.append(name).append(sender).append(payload);
}

std::u16string unitsOf(std::string_view bytes) {
    std::u16string units(bytes.size() / sizeof(char16_t), u'\0');
    std::memcpy(units.data(), bytes.data(), units.size() * sizeof(char16_t));
    return units;
}

}  // namespace MessageBus
