// Every library has a C++ runtime of its own linked in, which keeps 73 KB for exceptions thrown when no
// memory is left. It gives them back only when asked to: else each load and free of the library would leave
// them.
#include "platform/ProcessWide.h"

namespace __gnu_cxx {
void __freeres();
}

// Runs after every static destructor of the library. The link asks for it by name.
extern "C" __attribute__((destructor)) void brevantFreeRuntimeReserve() {
    if (Platform::LibraryUse::idle())
        __gnu_cxx::__freeres();
}
