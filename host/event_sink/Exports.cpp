#include "host/event_sink/ComponentConventions.h"
#include "host/event_sink/EventSinkComponent.h"
#include "platform/Export.h"

namespace EventSink {

namespace {

uint32_t addReference(ClassFactory*) {
    enterUse();
    return 2;  // the factory is never freed: its references only keep the library in use
}

uint32_t release(ClassFactory*) {
    leaveUse();
    return 1;
}

BrevantResult queryInterface(ClassFactory* self, const BrevantGuid* interfaceId, void** object) {
    if (!object)
        return nullPointer;
    *object = nullptr;
    if (!interfaceId)
        return nullPointer;
    if (!same(*interfaceId, unknownInterfaceId) && !same(*interfaceId, classFactoryInterfaceId))
        return noInterface;
    addReference(self);
    *object = self;
    return ok;
}

BrevantResult createInstance(ClassFactory*, void* outer, const BrevantGuid* interfaceId, void** object) {
    if (!object)
        return nullPointer;
    *object = nullptr;
    return outer ? noAggregation : createSink(interfaceId, object);
}

BrevantResult lockServer(ClassFactory*, int32_t lock) {
    if (lock)
        enterUse();
    else
        leaveUse();
    return ok;
}

constexpr ClassFactory::Functions factoryFunctions{queryInterface, addReference, release, createInstance,
                                                   lockServer};
constinit ClassFactory factory{&factoryFunctions};

}  // namespace

}  // namespace EventSink

BREVANT_EXPORT BrevantResult DllGetClassObject(const BrevantGuid* classId, const BrevantGuid* interfaceId,
                                               void** object) {
    using namespace EventSink;
    if (!object)
        return nullPointer;
    *object = nullptr;
    if (!classId || !same(*classId, eventSinkClassId))
        return noSuchClass;
    return queryInterface(&factory, interfaceId, object);
}

BREVANT_EXPORT BrevantResult DllCanUnloadNow() {
    return EventSink::inUse() ? EventSink::no : EventSink::ok;
}
