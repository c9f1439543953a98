#include "module/IOCContainer.h"

namespace Ferrow {

void IOCContainer::registerFactory(std::shared_ptr<IOCFactoryInterface> factory) {
    Platform::MutexLock lock(mutex_);
    std::shared_ptr<IOCFactoryInterface>& place =
        factories_[factory->typeHash()][factory->registrationName()];
    place.swap(factory);
}

std::shared_ptr<IOCFactoryInterface> IOCContainer::find(size_t typeHash, const std::u16string& name) const {
    Platform::MutexLock lock(mutex_);
    const auto named = factories_.find(typeHash);
    if (named == factories_.end())
        return nullptr;
    const auto found = named->second.find(name);
    return found == named->second.end() ? nullptr : found->second;
}

}  // namespace Ferrow
