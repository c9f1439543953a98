// Expands the path macros that need no install folder, and macros of the caller's own.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "library/SystemInterfaces.h"

namespace Ferrow {

// Any thread.
class CommonReplacements {
public:
    // From a whole macro text, "$(Name)", to what gives its value.
    using Replacements = std::map<std::u16string, std::function<std::u16string()>, std::less<>>;

    // The system's own serve when none are given.
    explicit CommonReplacements(std::shared_ptr<Tavix::ShlObjAPI> folders = nullptr,
                                std::shared_ptr<internal::OSInfoProxy> system = nullptr);

    // Expand in place. A macro that is unknown or has no value stays. Always true.
    bool resolvePath(std::u16string& path) const;
    // A macro in `extra` has that value alone; the common ones serve for the others.
    bool resolvePath(std::u16string& path, const Replacements& extra) const;

private:
    std::shared_ptr<Tavix::ShlObjAPI> folders_;
    std::shared_ptr<internal::OSInfoProxy> system_;
};

}  // namespace Ferrow
