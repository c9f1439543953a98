#include "telemetry/CLegacyTransport.h"

#include <new>
#include <string_view>
#include <utility>

#include <brevant/event_sink.h>

#include "platform/Components.h"
#include "platform/Sync.h"
#include "platform/Thread.h"
#include "telemetry/CJSONFormatter.h"

namespace Tavix::Analytics {

namespace {

constexpr Platform::Guid eventSinkClassId{
    0x3F9A6C12, 0x5B8E, 0x4D07, {0xA1, 0xC4, 0x7E, 0x2B, 0x90, 0xD3, 0xF6, 0x58}};
constexpr Platform::Guid eventSinkInterfaceId{
    0xB4D17E29, 0x0C6A, 0x4F83, {0x9E, 0x5D, 0x1A, 0x7C, 0x3B, 0x8F, 0x2E, 0x64}};

struct ReleaseSink {
    void operator()(ILegacyEventSink* sink) const noexcept {
        try {
            sink->functions->Release(sink);
        } catch (...) {
            // Gone or not, there is nothing more to do with it.
        }
    }
};
using EventSink = std::unique_ptr<ILegacyEventSink, ReleaseSink>;

constinit Platform::Mutex creatingMutex;  // leaf
constinit Platform::ThreadList creating GUARDED_BY(creatingMutex);

// The calling thread is inside a sink's creation. Should the sink publish there, over a bus that delivers in
// place, the event that this brings about would create it again, and so on.
class Creation {
public:
    Creation() {
        Platform::MutexLock lock(creatingMutex);
        isNested_ = creating.hasCurrent();
        creating.enter(mark_);
    }
    ~Creation() {
        Platform::MutexLock lock(creatingMutex);
        creating.leave(mark_);
    }
    Creation(const Creation&) = delete;
    Creation& operator=(const Creation&) = delete;
    bool isNested() const noexcept { return isNested_; }

private:
    Platform::ThreadList::Mark mark_;
    bool isNested_ = false;
};

EventSink createSink(const Platform::Guid& classId) {
    const Creation creation;
    if (creation.isNested())
        return nullptr;
    void* object = nullptr;
    if (Platform::createTrustedComponent(classId, eventSinkInterfaceId, &object) >= 0 && object)
        return EventSink(static_cast<ILegacyEventSink*>(object));
    object = nullptr;
    if (Platform::createComponent(classId, eventSinkInterfaceId, &object) >= 0 && object)  // compat
        return EventSink(static_cast<ILegacyEventSink*>(object));
    return nullptr;
}

class ComponentText {
public:
    explicit ComponentText(std::u16string_view text) : text_(Platform::allocateComponentText(text)) {
        if (!text_)
            throw std::bad_alloc();
    }
    ~ComponentText() { Platform::freeComponentText(text_); }
    ComponentText(const ComponentText&) = delete;
    ComponentText& operator=(const ComponentText&) = delete;
    BrevantComponentText get() const noexcept { return text_; }

private:
    BrevantComponentText text_;
};

}  // namespace

CLegacyTransport::CLegacyTransport(const Platform::Guid& classId)
    : CLegacyTransport(classId, std::make_unique<CJSONFormatter>()) {}

CLegacyTransport::CLegacyTransport(const Platform::Guid& classId, std::unique_ptr<IFormatter> formatter)
    : CBaseTransport(u"Legacy", 1),
      classId_(classId == Platform::Guid{} ? eventSinkClassId : classId),
      formatter_(std::move(formatter)) {}

bool CLegacyTransport::Open() {
    const Platform::ComponentThread thread;
    return createSink(classId_) != nullptr;
}

bool CLegacyTransport::Send(const DimensionMap& dimensions) {
    if (!formatter_)
        return false;
    const Platform::ComponentThread thread;
    const EventSink sink = createSink(classId_);
    std::u16string json;
    if (!sink || !formatter_->Format(dimensions, json))
        return false;
    const ComponentText before(u"");  // compat
    const ComponentText text(json);
    const ComponentText after(u"");
    try {
        return sink->functions->SubmitEvent(sink.get(), before.get(), text.get(), after.get()) >= 0;
    } catch (...) {
        return false;  // the component's own exception must not end the thread that reports an alert
    }
}

}  // namespace Tavix::Analytics
