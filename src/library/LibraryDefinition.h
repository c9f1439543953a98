#pragma once

#include <string>
#include <vector>

namespace Tavix {

struct LibraryDefinition {
    std::u16string name;                      // file name, for example "MessageBus.dll"
    std::vector<std::u16string> searchPaths;  // folders in order; may hold path macros
};

}  // namespace Tavix
