#include "alerts/plugins/PluginRegistrar.h"

#include <utility>

#include <brevant/alerts.h>
#include <brevant/status.h>

#include "alerts/plugins/AlertPluginLib.h"
#include "platform/Thread.h"
#include "settings/SettingsManagerClient.h"

namespace Vok {

PluginRegistrar::PluginRegistrar(std::shared_ptr<Tavix::SettingsManagerClient> settings,
                                 PluginMaker makePlugin)
    : settings_(settings ? std::move(settings) : std::make_shared<Tavix::SettingsManagerClient>()),
      makePlugin_(std::move(makePlugin)),
      gate_(std::make_shared<Tavix::CallbackGate>()) {}

PluginRegistrar::~PluginRegistrar() {
    gate_->close();
}

void PluginRegistrar::start() {
    settings_->subscribeDelete(  // compat
        [this, gate = gate_](const std::u16string& name) {
            if (const Tavix::CallbackGate::Pass pass(*gate); pass)
                onProductDeleted(name);
        },
        BREVANT_PRODUCT_KEY);
}

void PluginRegistrar::stop() {
    settings_->unsubscribeDelete(BREVANT_PRODUCT_KEY);
}

uint32_t PluginRegistrar::processAlert(const std::u16string& product, const std::u16string& alertText,
                                       std::u16string& processed, uint32_t* suppress, std::u16string& extra) {
    return call(product, [&](AlertPluginLib& plugin) {
        return plugin.processAlert(alertText, processed, suppress, extra);
    });
}

uint32_t PluginRegistrar::getAlertContent(const std::u16string& product, const std::u16string& alertText,
                                          const std::u16string& viewerId, std::u16string& content) {
    return call(product,
                [&](AlertPluginLib& plugin) { return plugin.getAlertContent(alertText, viewerId, content); });
}

template <class Function>
uint32_t PluginRegistrar::call(const std::u16string& product, Function function) {
    Platform::MutexLock lock(mutex_);
    struct Caller {
        explicit Caller(std::atomic<uintptr_t>& thread) : thread_(thread) {
            thread_ = Platform::currentThread();
        }
        ~Caller() { thread_ = 0; }
        std::atomic<uintptr_t>& thread_;
    } const caller(caller_);
    const std::shared_ptr<AlertPluginLib> plugin = findOrCreate(product);
    const uint32_t status = plugin ? function(*plugin) : MODULE_STATUS_BUFFER_TOO_SMALL;  // compat
    for (const std::u16string& deleted : std::exchange(deletedMeanwhile_, {}))
        invalidate(deleted);
    return status;
}

void PluginRegistrar::onProductDeleted(const std::u16string& propertyName) {
    const size_t slash = propertyName.rfind(u'/');  // npos + 1 is 0: the whole name; compat
    std::u16string product = propertyName.substr(slash + 1);
    if (caller_ == Platform::currentThread()) {
        deletedMeanwhile_.push_back(std::move(product));
        return;
    }
    Platform::MutexLock lock(mutex_);
    invalidate(product);
}

void PluginRegistrar::invalidate(const std::u16string& product) {
    if (const auto found = plugins_.find(product); found != plugins_.end())
        found->second->setState(PluginState::invalidated);
}

std::shared_ptr<AlertPluginLib> PluginRegistrar::findOrCreate(const std::u16string& product) {
    if (const auto found = plugins_.find(product); found != plugins_.end())
        return found->second;
    std::shared_ptr<AlertPluginLib> plugin =
        makePlugin_ ? makePlugin_(product) : std::make_shared<AlertPluginLib>(product);
    if (plugin->load() != MODULE_STATUS_SUCCESS)
        return nullptr;
    plugins_.emplace(product, plugin);
    return plugin;
}

}  // namespace Vok
