// Texts of the registry, replaceable.
#pragma once

#include <string>
#include <string_view>

namespace Tavix {

class RegistryAPI {
public:
    virtual ~RegistryAPI() = default;
    // A text value below HKEY_LOCAL_MACHINE; empty when it cannot be read or does not fit 260 characters with
    // its terminating zero.
    virtual std::u16string readText(std::u16string_view key, std::u16string_view name);
};

}  // namespace Tavix
