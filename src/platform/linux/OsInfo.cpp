#include "platform/OsInfo.h"

#include <string_view>
#include <sys/utsname.h>

namespace Platform {

MachineKind machineKind() {
    utsname names{};
    if (uname(&names) != 0)
        return MachineKind::unknown;
    const std::string_view machine = names.machine;
    if (machine == "x86_64")
        return MachineKind::x64;
    if (machine.size() == 4 && machine[0] == 'i' && machine.substr(2) == "86")
        return MachineKind::x86;
    return MachineKind::unknown;
}

bool isWow64Process() {
    return false;
}

}  // namespace Platform
