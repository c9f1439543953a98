#pragma once

namespace Platform {

enum class MachineKind { x86 = 0, x64 = 1, unknown = 2 };

// The native processor architecture of the machine.
MachineKind machineKind();

// Whether a 32-bit process runs on a 64-bit system.
bool isWow64Process();

}  // namespace Platform
