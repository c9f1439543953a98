// The module function table; include/brevant/module.h says what its functions do.
#pragma once

#include <brevant/module.h>

namespace Tavix {

extern const BrevantModuleFunctions moduleFunctions;

}  // namespace Tavix
