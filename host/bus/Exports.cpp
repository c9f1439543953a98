#include <brevant/bus.h>
#include <brevant/library.h>

#include "host/bus/BusFunctions.h"
#include "platform/Export.h"

BREVANT_EXPORT void* CreateObject(uint32_t interfaceVersion) {
    if (interfaceVersion != BREVANT_BUS_VERSION)
        return nullptr;
    MessageBus::reapBusThreads(false);
    return const_cast<BrevantBusFunctions*>(&MessageBus::busFunctions());
}

// The last chance to wait for threads before the library goes.
BREVANT_EXPORT void ReleaseObject(void*) {
    MessageBus::reapBusThreads(true);
}

BREVANT_EXPORT const char* GetVersionStr() {
    return BREVANT_VERSION_TEXT;
}

BREVANT_EXPORT uint32_t GetVersionNum() {
    return BREVANT_VERSION_NUMBER;
}
