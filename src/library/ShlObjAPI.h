// The shell's known folders, replaceable.
#pragma once

#include <string>
#include <string_view>

namespace Tavix {

class ShlObjAPI {
public:
    virtual ~ShlObjAPI() = default;
    // By the standard name behind FOLDERID_ ("ProgramData"); empty when the query fails.
    virtual std::u16string knownFolder(std::u16string_view name);
};

}  // namespace Tavix
