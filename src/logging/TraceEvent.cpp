#include "logging/TraceEvent.h"

#include <iterator>
#include <utility>

#include "text/Utf.h"

namespace ETWLogging::internal {
namespace {

enum FieldType : uint32_t { fieldNumber = 2, fieldText = 4, fieldLine = 5 };  // compat

constexpr uint32_t tracedGuid = 0x00020000;
constexpr uint32_t dataByPointer = 0x00100000;
constexpr uint8_t classType = 1;
constexpr uint8_t classVersion = 1;

template <class Bytes>
void putLittleEndian(Bytes out, uint64_t value, size_t size) {
    for (size_t byte = 0; byte < size; ++byte)
        *out++ = static_cast<uint8_t>(value >> 8 * byte);
}

class Payload {
public:
    void number(uint32_t id, FieldType type, uint32_t value) {
        field(id, type, sizeof value);
        put(value, sizeof value);
    }
    void text(uint32_t id, std::u16string_view value) {
        value = Ferrow::cutText(value, longestTraceText);
        field(id, fieldText, value.size() * sizeof(char16_t));
        for (const char16_t unit : value)
            put(unit, sizeof unit);
    }
    std::vector<uint8_t> take() { return std::move(bytes_); }

private:
    void field(uint32_t id, FieldType type, size_t length) {
        put(id, sizeof id);
        put(type, sizeof(uint32_t));
        put(length, sizeof(uint16_t));
    }
    void put(uint64_t value, size_t size) { putLittleEndian(std::back_inserter(bytes_), value, size); }

    std::vector<uint8_t> bytes_;
};

}  // namespace

std::vector<uint8_t> traceEventPayload(const TraceIdentity& identity, const LogRecord& record,
                                       uint32_t threadId) {
    Payload payload;
    payload.number(4, fieldNumber, identity.processId);
    payload.number(5, fieldNumber, threadId);
    payload.text(13, identity.process);
    payload.text(6, record.sourceFile);
    payload.number(7, fieldLine, record.line);
    payload.text(8, record.function);
    payload.text(9, identity.host);
    payload.text(10, identity.group);
    payload.text(11, identity.logName);
    payload.text(12, record.message);
    return payload.take();
}

std::array<uint8_t, 64> traceEventHeader(uint32_t level, const void* payload, uint32_t payloadLength) {
    std::array<uint8_t, 64> header{};
    const auto put = [&header](size_t offset, uint64_t value, size_t size) {
        putLittleEndian(header.begin() + offset, value, size);
    };
    put(0, header.size(), 2);
    put(4, classType, 1);
    put(5, level >= 1 && level <= 5 ? level : 3, 1);  // compat
    put(6, classVersion, 2);
    // Thread, process and time, at 8 to 23, are the system's to fill in.
    put(24, traceEventClass.data1, 4);
    put(28, traceEventClass.data2, 2);
    put(30, traceEventClass.data3, 2);
    for (size_t byte = 0; byte < traceEventClass.data4.size(); ++byte)
        header[32 + byte] = traceEventClass.data4[byte];
    put(44, tracedGuid | dataByPointer, 4);
    put(48, reinterpret_cast<uintptr_t>(payload), 8);
    put(56, payloadLength, 4);
    return header;
}

}  // namespace ETWLogging::internal
