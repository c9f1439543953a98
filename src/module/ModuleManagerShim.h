// The host's module manager, as two values that only the host understands.
#pragma once

#include <brevant/module.h>

namespace Tavix::internal {

class ModuleManagerShim {
public:
    ModuleManagerShim(void* context, BrevantModuleManagerFunction function) noexcept
        : context_(context), function_(function) {}
    virtual ~ModuleManagerShim() = default;

    // Calls the host's function on the calling thread; MODULE_STATUS_NOT_SUPPORTED when it gave none.
    virtual uint32_t call(void* argument) const {  // compat
        return function_ ? function_(context_, argument, 0) : MODULE_STATUS_NOT_SUPPORTED;
    }

private:
    void* const context_;
    const BrevantModuleManagerFunction function_;
};

}  // namespace Tavix::internal
