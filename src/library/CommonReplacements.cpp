#include "library/CommonReplacements.h"

#include <utility>

#include "library/PathMacros.h"

namespace Ferrow {
namespace {

class Values final : public MacroValues {
public:
    Values(const CommonReplacements::Replacements& extra, Tavix::ShlObjAPI& folders,
           internal::OSInfoProxy& system)
        : extra_(extra), folders_(folders), system_(system) {}

    std::u16string valueOf(std::u16string_view macro) const override {
        const auto found = extra_.find(macro);
        if (found == extra_.end())
            return commonMacroValue(macro, folders_, system_);
        return found->second ? found->second() : std::u16string();
    }

private:
    const CommonReplacements::Replacements& extra_;
    Tavix::ShlObjAPI& folders_;
    internal::OSInfoProxy& system_;
};

}  // namespace

CommonReplacements::CommonReplacements(std::shared_ptr<Tavix::ShlObjAPI> folders,
                                       std::shared_ptr<internal::OSInfoProxy> system)
    : folders_(folders ? std::move(folders) : std::make_shared<Tavix::ShlObjAPI>()),
      system_(system ? std::move(system) : std::make_shared<internal::OSInfoProxy>()) {}

bool CommonReplacements::resolvePath(std::u16string& path) const {
    return resolvePath(path, {});
}

bool CommonReplacements::resolvePath(std::u16string& path, const Replacements& extra) const {
    expandMacros(path, Values(extra, *folders_, *system_));
    return true;
}

}  // namespace Ferrow
