#include "library/OSInfoProxy.h"

#include <utility>

namespace Ferrow::internal {

OSInfoProxy::OSInfoProxy(std::shared_ptr<WinOSVersionAPI> api)
    : api_(api ? std::move(api) : std::make_shared<WinOSVersionAPI>()) {}

uint32_t OSInfoProxy::platform() {
    return static_cast<uint32_t>(api_->machineKind());
}

bool OSInfoProxy::isWow64Process() {
    return api_->isWow64Process();
}

}  // namespace Ferrow::internal
