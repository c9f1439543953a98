// The system's answers about itself, replaceable.
#pragma once

#include "platform/OsInfo.h"

namespace Ferrow {

class WinOSVersionAPI {
public:
    virtual ~WinOSVersionAPI() = default;
    // The native architecture of the machine.
    virtual Platform::MachineKind machineKind();
    // Whether a 32-bit process runs on a 64-bit system.
    virtual bool isWow64Process();
};

}  // namespace Ferrow
