#include "host/program/connection/BusLibrary.h"

#include "host/program/connection/HostError.h"

namespace Host {

BusLibrary::BusLibrary(const std::u16string& path)
    : file_(path),
      functions_(static_cast<const BrevantBusFunctions*>(
          file_.function<BrevantCreateObject>(BREVANT_EXPORT_CREATE_OBJECT)(BREVANT_BUS_VERSION))) {
    // Found now or never: the destructor needs it.
    file_.function<BrevantReleaseObject>(BREVANT_EXPORT_RELEASE_OBJECT);
    if (!functions_)
        throw HostError("the message bus does not offer the version that this program needs");
}

BusLibrary::~BusLibrary() {
    // The bus may use this to end its threads before it is unloaded.
    file_.function<BrevantReleaseObject>(BREVANT_EXPORT_RELEASE_OBJECT)(
        const_cast<BrevantBusFunctions*>(functions_));
}

BusHandle::BusHandle(const BrevantBusFunctions& functions) : functions_(functions) {
    if (functions_.acquireHandle(&handle_) != MODULE_STATUS_SUCCESS)
        throw HostError("the message bus gives no handle");
}

}  // namespace Host
