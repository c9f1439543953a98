#include "library/PathHelpers.h"

#include <utility>

#include "library/PathMacros.h"

namespace Tavix {

class PathHelpers::_Impl final : public Ferrow::MacroValues {
public:
    _Impl(std::shared_ptr<ShlObjAPI> folders, std::shared_ptr<Ferrow::internal::OSInfoProxy> system,
          std::shared_ptr<RegistryAPI> registry)
        : folders_(folders ? std::move(folders) : std::make_shared<ShlObjAPI>()),
          system_(system ? std::move(system) : std::make_shared<Ferrow::internal::OSInfoProxy>()),
          registry_(registry ? std::move(registry) : std::make_shared<RegistryAPI>()) {}

    std::u16string valueOf(std::u16string_view macro) const override {
        if (macro == u"$(Ostrel.InstallDir)")
            return registry_->readText(u"SOFTWARE\\CORVANE\\OSTREL",
                                       // compat
                                       system_->isWow64Process() ? u"Install Dir32" : u"Install Dir");
        return Ferrow::commonMacroValue(macro, *folders_, *system_);
    }

private:
    std::shared_ptr<ShlObjAPI> folders_;
    std::shared_ptr<Ferrow::internal::OSInfoProxy> system_;
    std::shared_ptr<RegistryAPI> registry_;
};

PathHelpers::PathHelpers(std::shared_ptr<ShlObjAPI> folders,
                         std::shared_ptr<Ferrow::internal::OSInfoProxy> system,
                         std::shared_ptr<RegistryAPI> registry)
    : impl_(std::make_shared<_Impl>(std::move(folders), std::move(system), std::move(registry))) {}

bool PathHelpers::resolvePath(std::u16string& path) {
    Ferrow::expandMacros(path, *impl_);
    return true;
}

}  // namespace Tavix
