// What an event carries: named texts.
#pragma once

#include <string>
#include <unordered_map>

namespace Tavix::Analytics {

// From name to value. Names are case-sensitive; a value is never empty.
using DimensionMap = std::unordered_map<std::u16string, std::u16string>;

}  // namespace Tavix::Analytics
