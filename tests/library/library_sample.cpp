#include <brevant/library.h>

#include "platform/Export.h"

BREVANT_EXPORT void* CreateObject(uint32_t interfaceVersion) {
    static uint32_t version;
    version = interfaceVersion;
    return &version;
}
BREVANT_EXPORT void ReleaseObject(void*) {}
BREVANT_EXPORT const char* GetVersionStr() {
    return "1.2.3";
}
BREVANT_EXPORT uint32_t GetVersionNum() {
    return 1002003;
}
