// The message bus library, as every client of the bus needs it.
#pragma once

#include <memory>

namespace Tavix {

class SharedLibrary;

// Finds and loads it; what it is and which folders it may be in is settled here. Throws ModuleException. Any
// thread. What an earlier caller found and still holds is handed out again for as long as another search is
// known to find the same, and the search itself would not be logged.
std::shared_ptr<SharedLibrary> loadBusLibrary();

}  // namespace Tavix
