// The platform's path and file functions, replaceable call by call.
#pragma once

#include <string>

namespace Tavix {

class PathAPI {
public:
    virtual ~PathAPI() = default;
    virtual bool fileExists(const std::u16string& path);
    // Folder, separator, name. The separator is always added.
    virtual std::u16string combine(const std::u16string& folder, const std::u16string& name);
};

}  // namespace Tavix
