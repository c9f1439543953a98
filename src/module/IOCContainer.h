// A registry of factories by type and name, through which collaborators obtain shared objects.
#pragma once

#include <unordered_map>

#include "module/IOCFactories.h"
#include "platform/Sync.h"

namespace Ferrow {

// All operations run on any thread.
class IOCContainer {
public:
    // Replaces what is registered under the factory's type and name.
    void registerFactory(std::shared_ptr<IOCFactoryInterface> factory);
    // Empty when nothing is registered.
    template <class T>
    std::shared_ptr<T> resolve(const std::u16string& name = unnamedRegistration) const {
        const std::shared_ptr<IOCFactoryInterface> factory = find(typeid(T).hash_code(), name);
        return factory ? std::static_pointer_cast<T>(factory->create()) : nullptr;
    }

private:
    using Named = std::unordered_map<std::u16string, std::shared_ptr<IOCFactoryInterface>>;

    std::shared_ptr<IOCFactoryInterface> find(size_t typeHash, const std::u16string& name) const;

    mutable Platform::Mutex mutex_;  // leaf: factories are called and let go of outside it
    std::unordered_map<size_t, Named> factories_ GUARDED_BY(mutex_);
};

}  // namespace Ferrow
