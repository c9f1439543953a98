#include "host/event_sink/EventSinkComponent.h"

#include <atomic>
#include <new>
#include <string_view>

#include "host/event_sink/EventFile.h"

namespace EventSink {

namespace {

constinit std::atomic<uint32_t> uses{0};

struct Sink : ILegacyEventSink {
    explicit Sink(const ILegacyEventSinkFunctions* table) noexcept : ILegacyEventSink{table} { enterUse(); }
    ~Sink() { leaveUse(); }
    Sink(const Sink&) = delete;
    Sink& operator=(const Sink&) = delete;

    std::atomic<uint32_t> references{1};
};

Sink& sinkOf(ILegacyEventSink* self) noexcept {
    return *static_cast<Sink*>(self);
}

uint32_t addReference(ILegacyEventSink* self) {
    return sinkOf(self).references.fetch_add(1) + 1;
}

uint32_t release(ILegacyEventSink* self) {
    const uint32_t left = sinkOf(self).references.fetch_sub(1) - 1;
    if (left == 0)
        delete &sinkOf(self);
    return left;
}

BrevantResult queryInterface(ILegacyEventSink* self, const BrevantGuid* interfaceId, void** object) {
    if (!object)
        return nullPointer;
    *object = nullptr;
    if (!interfaceId)
        return nullPointer;
    if (!same(*interfaceId, unknownInterfaceId) && !same(*interfaceId, eventSinkInterfaceId))
        return noInterface;
    addReference(self);
    *object = self;
    return ok;
}

std::u16string_view viewOf(BrevantComponentText text) noexcept {
    uint32_t bytes;
    std::memcpy(&bytes, reinterpret_cast<const char*>(text) - sizeof bytes, sizeof bytes);
    return {text, bytes / sizeof(char16_t)};
}

BrevantResult submitEvent(ILegacyEventSink*, BrevantComponentText, BrevantComponentText json,
                          BrevantComponentText) {
    if (!json)
        return nullPointer;
    try {
        return appendEvent(viewOf(json)) ? ok : unspecified;
    } catch (const std::bad_alloc&) {
        return outOfMemory;
    } catch (...) {
        return unspecified;
    }
}

constexpr ILegacyEventSinkFunctions sinkFunctions{queryInterface, addReference, release, submitEvent};

}  // namespace

BrevantResult createSink(const BrevantGuid* interfaceId, void** object) noexcept {
    ILegacyEventSink* const sink = new (std::nothrow) Sink(&sinkFunctions);
    if (!sink)
        return outOfMemory;
    const BrevantResult result = queryInterface(sink, interfaceId, object);
    release(sink);
    return result;
}

void enterUse() noexcept {
    uses.fetch_add(1);
}
void leaveUse() noexcept {
    uses.fetch_sub(1);
}
bool inUse() noexcept {
    return uses.load() != 0;
}

}  // namespace EventSink
