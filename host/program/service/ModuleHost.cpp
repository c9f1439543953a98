#include "host/program/service/ModuleHost.h"

#include "host/program/connection/HostError.h"
#include "text/Format.h"
#include "text/Utf.h"

namespace Host {
namespace {

constexpr const char16_t* moduleName = u"Brevant";
constexpr const char16_t* moduleIdentifier = u"brevant";

}  // namespace

ModuleHost::ModuleHost(const std::u16string& libraryPath, const std::u16string& logGroup)
    : file_(libraryPath),
      functions_(file_.function<BrevantModuleCreateObject>(BREVANT_EXPORT_CREATE_OBJECT)()) {
    if (!functions_)
        throw HostError("the module gives no function table");
    check(functions_->NewModule(&module_, logGroup.c_str()), "NewModule");
}

ModuleHost::~ModuleHost() {
    if (started_)
        functions_->StopModule(module_);
    if (initialized_)
        functions_->UninitializeModule(module_);
    functions_->DestroyModule(module_);
}

void ModuleHost::startWithOwnBus() {
    check(functions_->InitializeModule(module_, moduleName, moduleIdentifier, 0, nullptr, nullptr, nullptr,
                                       nullptr),
          "InitializeModule");
    start();
}

void ModuleHost::startOnBus(const BrevantBusFunctions& functions) {
    bus_.emplace(functions);
    check(functions_->InitializeModuleV2(module_, moduleName, moduleIdentifier, 0, nullptr, nullptr, nullptr,
                                         nullptr, bus_->get(), &functions),
          "InitializeModuleV2");
    start();
}

void ModuleHost::start() {
    initialized_ = true;
    check(functions_->StartModule(module_), "StartModule");
    started_ = true;
}

std::u16string ModuleHost::version() const {
    return Ferrow::toUtf16(file_.function<BrevantGetVersionStr>(BREVANT_EXPORT_GET_VERSION_STR)());
}

void ModuleHost::check(uint32_t status, const char* step) const {
    if (status != MODULE_STATUS_SUCCESS)
        throw HostError(
            Ferrow::toUtf8(Ferrow::formatText(u"the module's %hs failed with status 0x%08x", step, status)));
}

}  // namespace Host
