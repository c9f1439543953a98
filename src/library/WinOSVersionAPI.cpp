#include "library/WinOSVersionAPI.h"

namespace Ferrow {

Platform::MachineKind WinOSVersionAPI::machineKind() {
    return Platform::machineKind();
}

bool WinOSVersionAPI::isWow64Process() {
    return Platform::isWow64Process();
}

}  // namespace Ferrow
