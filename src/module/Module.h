// A module, as the module function table drives it.
#pragma once

#include <cstdint>

namespace Tavix {

// Every operation returns a module status.
class Module {
public:
    virtual ~Module() = default;
    virtual uint32_t initialize() = 0;
    virtual uint32_t start() = 0;
    virtual uint32_t stop() = 0;
    virtual uint32_t uninitialize() = 0;
};

}  // namespace Tavix
