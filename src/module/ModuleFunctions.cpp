#include "module/ModuleFunctions.h"

#include "bus/MessageBusClient.h"
#include "bus/MessageBusShimImpl.h"
#include "logging/Log.h"
#include "logging/LogUse.h"
#include "logging/LoggingIdentity.h"
#include "module/BaseModule.h"
#include "module/ModuleFactory.h"
#include "module/ModuleHandle.h"
#include "platform/ProcessWide.h"
#include "text/TextLength.h"

namespace Tavix {

namespace {

constexpr std::u16string_view logSource = u"ModuleFunctions";

std::u16string text(const char16_t* given) {
    return std::u16string(Ferrow::viewOf(given));
}

// No exception crosses the interface.
template <class Work>
uint32_t guarded(Work&& work) noexcept {
    try {
        return work();
    } catch (...) {
        return MODULE_STATUS_UNKNOWN_EXCEPTION;
    }
}

template <class Work>
uint32_t withModule(ModuleHandle* handle, std::u16string_view function, Work&& work) noexcept {
    if (!handle || !handle->module) {
        LOG_MESSAGE(ETWLogging::levelError, function, u"Invalid handle.");  // compat
        return MODULE_STATUS_INVALID_PARAMETER;
    }
    return guarded([&] { return work(*handle->module); });
}

void joinLibrary() {
    Platform::LibraryUse::enter();
    ETWLogging::acquireLog();
}

// The host may free the library when this returns for the last module.
void leaveLibrary() {
    ETWLogging::releaseLog();
    Platform::LibraryUse::leave(waitForBusCallbacks);
}

void endModule(Module* module) {
    destroyModule(module);
    leaveLibrary();
}

uint32_t makeHandle(ModuleHandle** out) {
    auto handle = std::make_unique<ModuleHandle>(ModuleHandle{endModule, nullptr});
    const uint32_t status = createModule(&handle->module);
    if (status == MODULE_STATUS_SUCCESS)
        *out = handle.release();
    return status;
}

uint32_t newModule(ModuleHandle** out, const char16_t* logGroup) {
    if (!out) {
        LOG_MESSAGE(ETWLogging::levelError, u"NewModule", u"Invalid handle address.");
        return MODULE_STATUS_INVALID_PARAMETER;
    }
    return guarded([&] {
        if (logGroup && *logGroup)
            ETWLogging::setLogGroup(logGroup);
        joinLibrary();
        const uint32_t status = guarded([&] { return makeHandle(out); });
        if (status != MODULE_STATUS_SUCCESS)
            leaveLibrary();
        return status;
    });
}

uint32_t destroyModuleAndHandle(ModuleHandle* handle) {
    if (!handle) {
        LOG_MESSAGE(ETWLogging::levelError, u"DestroyModule", u"Invalid handle.");  // compat
        return MODULE_STATUS_INVALID_PARAMETER;
    }
    return guarded([&] {
        if (handle->module)
            handle->deleter(handle->module);
        delete handle;
        return MODULE_STATUS_SUCCESS;
    });
}

struct InitializeArguments {
    const char16_t* moduleName;
    const char16_t* moduleIdentifier;
    uint32_t propertyCount;
    const char16_t* const* propertyKeys;
    const char16_t* const* propertyValues;
    void* moduleManagerContext;
    BrevantModuleManagerFunction moduleManagerFunction;
};

template <class MakeBus>
uint32_t initialize(Module& module, const InitializeArguments& arguments, std::u16string_view function,
                    MakeBus&& makeBus) {
    auto* base = dynamic_cast<BaseModule*>(&module);
    if (!base)
        return module.initialize();
    if (arguments.propertyCount != 0 && (!arguments.propertyKeys || !arguments.propertyValues)) {
        LOG_MESSAGE(ETWLogging::levelError, function, u"Properties are announced but not given.");
        return MODULE_STATUS_INVALID_PARAMETER;
    }
    ModuleProperties properties;
    for (uint32_t i = 0; i < arguments.propertyCount; ++i)
        properties.emplace(text(arguments.propertyKeys[i]), text(arguments.propertyValues[i]));  // compat
    auto moduleManager = std::make_shared<internal::ModuleManagerShim>(arguments.moduleManagerContext,
                                                                       arguments.moduleManagerFunction);
    const uint32_t status = base->baseInitialize(text(arguments.moduleName), text(arguments.moduleIdentifier),
                                                 properties, std::move(moduleManager), makeBus());
    if (status != MODULE_STATUS_SUCCESS) {
        LOG_FORMATTED(ETWLogging::levelError, function, u"Failed to initialize base module. Error code %lu.",
                      status);
        return status;
    }
    const uint32_t initialized = module.initialize();
    base->releaseReplacedBuses();
    return initialized;
}

uint32_t initializeModule(ModuleHandle* handle, const char16_t* moduleName, const char16_t* moduleIdentifier,
                          uint32_t propertyCount, const char16_t* const* propertyKeys,
                          const char16_t* const* propertyValues, void* moduleManagerContext,
                          BrevantModuleManagerFunction moduleManagerFunction) {
    return withModule(handle, u"InitializeModule", [&](Module& module) {
        return initialize(module,
                          {moduleName, moduleIdentifier, propertyCount, propertyKeys, propertyValues,
                           moduleManagerContext, moduleManagerFunction},
                          // compat
                          u"InitializeModule::<lambda_567a2fd9a9bf1416732cf3aaf10fa79b>::operator ()",
                          [] { return std::make_shared<MessageBusClient>(); });
    });
}

uint32_t initializeModuleV2(ModuleHandle* handle, const char16_t* moduleName,
                            const char16_t* moduleIdentifier, uint32_t propertyCount,
                            const char16_t* const* propertyKeys, const char16_t* const* propertyValues,
                            void* moduleManagerContext, BrevantModuleManagerFunction moduleManagerFunction,
                            BrevantBusHandle busHandle, const BrevantBusFunctions* busFunctions) {
    return withModule(handle, u"InitializeModuleV2", [&](Module& module) {
        return initialize(module,
                          {moduleName, moduleIdentifier, propertyCount, propertyKeys, propertyValues,
                           moduleManagerContext, moduleManagerFunction},
                          // compat
                          u"InitializeModuleV2::<lambda_2dcfad368efacf21c1f4d353aa5da521>::operator ()", [&] {
                              return std::make_shared<MessageBusClient>(
                                  std::make_shared<MessageBusShimImpl>(busHandle, busFunctions), nullptr);
                          });
    });
}

uint32_t startModule(ModuleHandle* handle) {
    return withModule(handle, u"StartModule", [](Module& module) { return module.start(); });
}

uint32_t stopModule(ModuleHandle* handle) {
    return withModule(handle, u"StopModule", [](Module& module) { return module.stop(); });
}

uint32_t uninitializeModule(ModuleHandle* handle) {
    return withModule(handle, u"UninitializeModule", [](Module& module) { return module.uninitialize(); });
}

uint32_t directMessage(ModuleHandle* handle, const MessageHeader* header, const char16_t* name,
                       const char16_t* sender, const char16_t* payload) {
    return withModule(handle, u"DirectMessage", [&](Module& module) {
        const std::shared_ptr<Message> message = makeMessage(text(name), text(sender), text(payload));
        if (!message)
            return MODULE_STATUS_NO_MEMORY;
        copyHeader(*message, header);
        auto* base = dynamic_cast<BaseModule*>(&module);
        return base ? base->directMessage(message) : MODULE_STATUS_SUCCESS;
    });
}

}  // namespace

constinit const BrevantModuleFunctions moduleFunctions = {
    newModule,  destroyModuleAndHandle, initializeModule, startModule,
    stopModule, uninitializeModule,     directMessage,    initializeModuleV2,
};

}  // namespace Tavix
