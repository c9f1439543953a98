// Information about the operating system as the path macros need it.
#pragma once

#include <cstdint>
#include <memory>

#include "library/WinOSVersionAPI.h"

namespace Ferrow::internal {

class OSInfoProxy {
public:
    // The system's own answers serve when none are given.
    explicit OSInfoProxy(std::shared_ptr<WinOSVersionAPI> api = nullptr);
    virtual ~OSInfoProxy() = default;
    // 0 for x86, 1 for x64, 2 when it could not be gathered.
    virtual uint32_t platform();
    virtual bool isWow64Process();

private:
    std::shared_ptr<WinOSVersionAPI> api_;
};

}  // namespace Ferrow::internal
