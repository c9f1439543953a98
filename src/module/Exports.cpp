// The four functions that the library exports.
#include "module/ModuleFunctions.h"
#include "platform/Export.h"

BREVANT_EXPORT const BrevantModuleFunctions* CreateObject() {
    return &Tavix::moduleFunctions;
}

BREVANT_EXPORT void ReleaseObject(void*) {}  // compat

BREVANT_EXPORT uint32_t GetVersionNum() {
    return BREVANT_VERSION_NUMBER;
}

BREVANT_EXPORT const char* GetVersionStr() {  // compat
    return BREVANT_VERSION_TEXT;
}
