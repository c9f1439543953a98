// Expands path macros, the install folder among them.
#pragma once

#include <memory>
#include <string>

#include "library/SystemInterfaces.h"

namespace Tavix {

// Any thread.
class PathHelpers {
public:
    // The system's own serve when none are given.
    explicit PathHelpers(std::shared_ptr<ShlObjAPI> folders = nullptr,
                         std::shared_ptr<Ferrow::internal::OSInfoProxy> system = nullptr,
                         std::shared_ptr<RegistryAPI> registry = nullptr);
    virtual ~PathHelpers() = default;

    // Expands in place. A macro that is unknown or has no value stays. Always true here; callers take false
    // for a path that cannot be resolved.
    virtual bool resolvePath(std::u16string& path);

private:
    class _Impl;  // NOLINT(bugprone-reserved-identifier): the name is part of the system
    std::shared_ptr<const _Impl> impl_;
};

}  // namespace Tavix
