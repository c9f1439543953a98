// The bytes of one trace event.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "logging/LogRecord.h"
#include "platform/Guid.h"

namespace ETWLogging::internal {

constexpr size_t longestTraceText = 2079;  // units of each text of an event

// {2A6F4E19-8B3C-11E0-C5D1-0800200C7E33}
constexpr Platform::Guid traceEventClass{
    0x2A6F4E19, 0x8B3C, 0x11E0, {0xC5, 0xD1, 0x08, 0x00, 0x20, 0x0C, 0x7E, 0x33}};

// What is the same in all events of a logger.
struct TraceIdentity {
    uint32_t processId = 0;
    std::u16string process;  // field 13
    std::u16string host;     // field 9
    std::u16string group;    // field 10
    std::u16string logName;  // field 11
};

// The payload: fields of identifier, type, length in bytes and data, little-endian. Texts are cut to
// longestTraceText, which keeps every length within its 16 bits.
std::vector<uint8_t> traceEventPayload(const TraceIdentity& identity, const LogRecord& record,
                                       uint32_t threadId);

// The classic 64-byte header with one data item that points at the payload.
std::array<uint8_t, 64> traceEventHeader(uint32_t level, const void* payload, uint32_t payloadLength);

}  // namespace ETWLogging::internal
