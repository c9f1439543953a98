// Names of the module statuses, as log texts carry them.
#pragma once

#include <brevant/status.h>

namespace Tavix {

// "MODULE_STATUS_UNKNOWN" for a value without a name. The text lives as long as the library.
const char16_t* moduleStatusName(uint32_t status) noexcept;

}  // namespace Tavix
