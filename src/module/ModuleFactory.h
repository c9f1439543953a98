// Makes and unmakes the module object of this library.
#pragma once

#include "module/Module.h"

namespace Tavix {

// Stores a new broker module in *out. Throws ModuleException when the bus library cannot be loaded.
uint32_t createModule(Module** out);
// Null is allowed. Waits as the module's destructor does.
void destroyModule(Module* module);

}  // namespace Tavix
