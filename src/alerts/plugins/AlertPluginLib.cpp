#include "alerts/plugins/AlertPluginLib.h"

#include <chrono>
#include <exception>
#include <new>
#include <string_view>
#include <utility>

#include <brevant/cpp/alerts.h>

#include "json/JSONFormatter.h"
#include "library/SharedLibrary.h"
#include "logging/Log.h"
#include "settings/SettingsManagerClient.h"
#include "status/ModuleStatus.h"
#include "text/TextLength.h"

namespace Vok {

namespace {

constexpr std::u16string_view logSource = u"AlertPluginLib";
constexpr std::chrono::milliseconds settingsTimeout{5000};

}  // namespace

AlertPluginLib::AlertPluginLib(std::u16string product, std::shared_ptr<Tavix::SharedLibrary> library,
                               std::shared_ptr<Tavix::SettingsManager> settings, LibraryLoader loadLibrary)
    : product_(std::move(product)),
      settings_(settings ? std::move(settings) : Tavix::SettingsManagerClient::getInstance()),
      loadLibrary_(std::move(loadLibrary)),
      library_(std::move(library)) {}

AlertPluginLib::~AlertPluginLib() {
    destroyInstance();
}

uint32_t AlertPluginLib::processAlert(const std::u16string& alertText, std::u16string& processed,
                                      uint32_t* suppress, std::u16string& extra) {
    constexpr const char16_t* function = u"Vok::AlertPluginLib::processAlert";
    Platform::MutexLock lock(mutex_);
    LOG_FORMATTED(ETWLogging::levelNormal, function, u"Processing alert. Plugin for %ls in state %ls.",
                  product_, pluginStateName(state_));
    if (const uint32_t unusable = verifyState(function); unusable != MODULE_STATUS_SUCCESS)
        return unusable;
    const char16_t* processedText = nullptr;
    const char16_t* extraText = nullptr;
    const uint32_t status = callPlugin(
        function, u"processAlert", api_ && api_->processAlert, [&, api = api_, instance = instance_] {
            return api->processAlert(instance, alertText.c_str(), &processedText, suppress, &extraText);
        });
    if (status != MODULE_STATUS_SUCCESS)
        return status;
    processed = Ferrow::viewOf(processedText);
    extra = Ferrow::viewOf(extraText);
    callPlugin(function, u"releaseProcessed", api_->releaseProcessed, [&, api = api_] {
        api->releaseProcessed(processedText, extraText);
        return MODULE_STATUS_SUCCESS;
    });
    return status;
}

uint32_t AlertPluginLib::getAlertContent(const std::u16string& alertText, const std::u16string& viewerId,
                                         std::u16string& content) {
    constexpr const char16_t* function = u"Vok::AlertPluginLib::getAlertContent";
    Platform::MutexLock lock(mutex_);
    LOG_FORMATTED(ETWLogging::levelNormal, function, u"Getting alert content. Plugin for %ls in state %ls.",
                  product_, pluginStateName(state_));
    if (const uint32_t unusable = verifyState(function); unusable != MODULE_STATUS_SUCCESS)
        return unusable;
    const char16_t* contentText = nullptr;
    const uint32_t status = callPlugin(
        function, u"getAlertContent", api_ && api_->getAlertContent, [&, api = api_, instance = instance_] {
            return api->getAlertContent(instance, alertText.c_str(), viewerId.c_str(), &contentText);
        });
    if (status != MODULE_STATUS_SUCCESS)
        return status;
    content = Ferrow::viewOf(contentText);
    callPlugin(function, u"releaseContent", api_->releaseContent, [&, api = api_] {
        api->releaseContent(contentText);
        return MODULE_STATUS_SUCCESS;
    });
    return status;
}

uint32_t AlertPluginLib::load() {
    constexpr const char16_t* function = u"Vok::AlertPluginLib::load";
    const std::u16string key = Brevant::property(BREVANT_PRODUCT_KEY, product_);
    std::u16string definition;
    if (!settings_ || !settings_->getProperty(key, definition, settingsTimeout)) {
        LOG_FORMATTED(ETWLogging::levelError, function,
                      u"Failed to get pluginDefinition from settings Manager. Key %ls", key);  // compat
        return MODULE_STATUS_BUFFER_TOO_SMALL;                                                 // compat
    }
    Tavix::JSONFormatter json;
    if (!json.parse(definition)) {
        LOG_FORMATTED(ETWLogging::levelError, function,
                      // compat
                      u"Failed to parse plugin definition Key: %ls, Value: %ls. ", key, definition);
        return MODULE_STATUS_UNSUCCESSFUL;
    }
    std::u16string file;
    if (!json.getString(BREVANT_PLUGIN_FILE, file)) {
        LOG_FORMATTED(ETWLogging::levelError, function, u"Failed to parse pluginFile from: %ls", definition);
        return MODULE_STATUS_UNSUCCESSFUL;
    }
    std::u16string folder;
    if (!json.getString(BREVANT_PLUGIN_PATH, folder)) {
        LOG_FORMATTED(ETWLogging::levelError, function, u"Failed to parse pluginPath from: %ls", definition);
        return MODULE_STATUS_UNSUCCESSFUL;
    }

    std::shared_ptr<Tavix::SharedLibrary> library;
    std::string reason;
    try {
        Tavix::LibraryDefinition wanted{std::move(file), {std::move(folder)}};
        library = loadLibrary_ ? loadLibrary_(std::move(wanted))
                               : std::make_shared<Tavix::SharedLibrary>(std::move(wanted));
    } catch (const std::exception& exception) {
        reason = exception.what();
    }
    if (!library) {
        LOG_FORMATTED(ETWLogging::levelError, function,
                      u"Failed create SharedLibrary for plugin: %ls. Exception: %hs.", product_,  // compat
                      reason.empty() ? "Unknown exception" : reason.c_str());
        return MODULE_STATUS_NOT_SUPPORTED;
    }
    // An instance of the former library must not outlive its code.
    destroyInstance();
    library_ = std::move(library);

    if (const uint32_t status = createInstance(); status != MODULE_STATUS_SUCCESS) {
        LOG_MESSAGE(ETWLogging::levelError, function, u"Failed to create alert plugin instance.");
        return status;
    }
    LOG_FORMATTED(ETWLogging::levelNormal, function, u"Changing state of plugin for %ls to LOADED.",
                  product_);
    state_ = PluginState::loaded;
    return MODULE_STATUS_SUCCESS;
}

void AlertPluginLib::unload() {
    destroyInstance();
    LOG_FORMATTED(ETWLogging::levelNormal, u"Vok::AlertPluginLib::unload",
                  u"Changing state of plugin for %ls to UNLOADED.", product_);
    state_ = PluginState::unloaded;
}

void AlertPluginLib::setState(PluginState state) {
    Platform::MutexLock lock(mutex_);
    LOG_FORMATTED(ETWLogging::levelNormal, u"Vok::AlertPluginLib::setState",
                  u"Changing state of plugin for %ls to %ls.", product_, pluginStateName(state));
    state_ = state;
    told_.clear();
}

uint32_t AlertPluginLib::verifyState(const char16_t* function) {
    if (state_ == PluginState::loaded)
        return MODULE_STATUS_SUCCESS;
    LOG_FORMATTED(ETWLogging::levelNormal, u"Vok::AlertPluginLib::verifyState",
                  u"Plugin for %ls is in state %ls. Attempting to reload.", product_,
                  pluginStateName(state_));
    unload();
    const uint32_t status = load();
    if (status != MODULE_STATUS_SUCCESS)
        LOG_FORMATTED(ETWLogging::levelError, function, u"Failed to verify the plugin state for product: %ls",
                      product_);
    return status;
}

uint32_t AlertPluginLib::createInstance() {
    constexpr const char16_t* function = u"Vok::AlertPluginLib::createInstance";
    const AlertPluginApi* api = nullptr;
    const uint32_t thrown = callPlugin(function, u"CreateObject", true, [&api, &library = *library_] {
        api =
            static_cast<const AlertPluginApi*>(library.getFunctions()->createObject(BREVANT_PLUGIN_VERSION));
        return MODULE_STATUS_SUCCESS;
    });
    if (!api) {
        LOG_MESSAGE(ETWLogging::levelError, function, u"Failed to create object");  // compat
        if (thrown == MODULE_STATUS_SUCCESS && isNews(u"CreateObject", MODULE_STATUS_NOT_SUPPORTED))
            LOG_FORMATTED(ETWLogging::levelError, function,
                          u"Alert plugin does not offer version %lu. Product: %ls", BREVANT_PLUGIN_VERSION,
                          product_);
        return thrown != MODULE_STATUS_SUCCESS ? thrown : MODULE_STATUS_NOT_SUPPORTED;
    }
    void* instance = nullptr;
    const uint32_t status =
        callPlugin(function, u"create", api->create, [&] { return api->create(&instance, u"AlertPlugin"); });
    if (status != MODULE_STATUS_SUCCESS) {
        LOG_FORMATTED(ETWLogging::levelError, function,
                      u"Failed to create instance of Alert Plugin. Error code: %lu", status);
        return status;
    }
    api_ = api;
    instance_ = instance;
    return status;
}

uint32_t AlertPluginLib::destroyInstance() {
    constexpr const char16_t* function = u"Vok::AlertPluginLib::destroyInstance";
    // Forgotten first: whatever destroy does, it is asked once.
    void* const instance = std::exchange(instance_, nullptr);
    const AlertPluginApi* const api = std::exchange(api_, nullptr);
    if (!instance || !api)
        return MODULE_STATUS_SUCCESS;
    const auto destroy = [&] { return api->destroy ? api->destroy(instance) : MODULE_STATUS_NOT_SUPPORTED; };
    return callPlugin(function, u"destroy", true, [&] {
        const uint32_t status = destroy();
        if (status != MODULE_STATUS_SUCCESS)
            LOG_FORMATTED(ETWLogging::levelWarning, function,
                          u"Failed to destroy alert plugin instance. Product: %ls. Error code: %lu.",
                          product_, status);
        return MODULE_STATUS_SUCCESS;
    });
}

template <class Call>
uint32_t AlertPluginLib::callPlugin(const char16_t* function, const char16_t* entry, bool isThere,
                                    Call&& call) {
    constexpr uint32_t thrown = MODULE_STATUS_UNKNOWN_EXCEPTION;
    uint32_t status = MODULE_STATUS_NOT_SUPPORTED;
    const auto reportThrown = [&](const char* what) REQUIRES(mutex_) {
        LOG_FORMATTED(ETWLogging::levelError, function, u"Alert plugin threw an exception. Product: %ls",
                      product_);
        if (isNews(entry, thrown))
            LOG_FORMATTED(ETWLogging::levelError, function, u"Alert plugin threw in %ls: %hs. Product: %ls",
                          entry, what, product_);
    };
    try {
        if (isThere)
            status = call();
    } catch (const std::exception& exception) {
        reportThrown(exception.what());
        return thrown;
    } catch (...) {
        reportThrown("no standard exception");
        return thrown;
    }
    if (status == MODULE_STATUS_SUCCESS || !isNews(entry, isThere ? status : MODULE_STATUS_SUCCESS))
        return status;
    if (isThere)
        LOG_FORMATTED(ETWLogging::levelError, function,
                      u"Alert plugin failed in %ls with 0x%08X, %ls. Product: %ls", entry, status,
                      Tavix::moduleStatusName(status), product_);
    else
        LOG_FORMATTED(ETWLogging::levelError, function, u"Alert plugin has no %ls. Product: %ls", entry,
                      product_);
    return status;
}

bool AlertPluginLib::isNews(const char16_t* entry, uint32_t status) noexcept {
    constexpr size_t mostTold = 64;  // statuses are the plugin's to invent
    try {
        return told_.size() < mostTold && told_.emplace(entry, status).second;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

}  // namespace Vok
