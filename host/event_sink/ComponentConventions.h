// The binary convention of in-process components, as far as this library needs it.
#pragma once

#include <cstdint>
#include <cstring>

#include <brevant/event_sink.h>

namespace EventSink {

constexpr BrevantResult ok = 0;
constexpr BrevantResult no = 1;  // success, but the answer is no
constexpr BrevantResult noInterface = static_cast<BrevantResult>(0x80004002u);
constexpr BrevantResult nullPointer = static_cast<BrevantResult>(0x80004003u);
constexpr BrevantResult unspecified = static_cast<BrevantResult>(0x80004005u);
constexpr BrevantResult noAggregation = static_cast<BrevantResult>(0x80040110u);
constexpr BrevantResult noSuchClass = static_cast<BrevantResult>(0x80040111u);
constexpr BrevantResult outOfMemory = static_cast<BrevantResult>(0x8007000Eu);

constexpr BrevantGuid unknownInterfaceId{0, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
constexpr BrevantGuid classFactoryInterfaceId{1, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
constexpr BrevantGuid eventSinkClassId{
    0x3F9A6C12, 0x5B8E, 0x4D07, {0xA1, 0xC4, 0x7E, 0x2B, 0x90, 0xD3, 0xF6, 0x58}};
constexpr BrevantGuid eventSinkInterfaceId{
    0xB4D17E29, 0x0C6A, 0x4F83, {0x9E, 0x5D, 0x1A, 0x7C, 0x3B, 0x8F, 0x2E, 0x64}};

inline bool same(const BrevantGuid& left, const BrevantGuid& right) noexcept {
    return std::memcmp(&left, &right, sizeof(BrevantGuid)) == 0;
}

struct ClassFactory {
    struct Functions {
        BrevantResult (*QueryInterface)(ClassFactory*, const BrevantGuid* interfaceId, void** object);
        uint32_t (*AddRef)(ClassFactory*);
        uint32_t (*Release)(ClassFactory*);
        BrevantResult (*CreateInstance)(ClassFactory*, void* outer, const BrevantGuid* interfaceId,
                                        void** object);
        BrevantResult (*LockServer)(ClassFactory*, int32_t lock);
    };
    const Functions* functions;
};

}  // namespace EventSink
