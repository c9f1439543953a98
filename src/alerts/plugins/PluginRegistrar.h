// The plugins of all products, loaded at a product's first alert.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "bus/CallbackGate.h"
#include "platform/Sync.h"

namespace Tavix {
class SettingsManagerClient;
}

namespace Vok {

class AlertPluginLib;

// A plugin that has been loaded once stays until the registrar is gone; one that cannot be loaded is not
// remembered, and the product's next alert tries again. Any thread may call any operation.
class PluginRegistrar {
public:
    // Makes the object for a product's plugin, not yet loaded.
    using PluginMaker = std::function<std::shared_ptr<AlertPluginLib>(const std::u16string& product)>;

    // Empty settings are replaced by a client of its own, whose making throws ModuleException; an empty maker
    // makes plain AlertPluginLib objects.
    explicit PluginRegistrar(std::shared_ptr<Tavix::SettingsManagerClient> settings = nullptr,
                             PluginMaker makePlugin = nullptr);
    // Waits for settings notifications that are running on other threads, then ends every plugin.
    virtual ~PluginRegistrar();
    PluginRegistrar(const PluginRegistrar&) = delete;
    PluginRegistrar& operator=(const PluginRegistrar&) = delete;

    // Between them a plugin whose definition is deleted is reloaded at its next use. A failed subscription is
    // not reported.
    virtual void start();
    virtual void stop();

    // The plugin's status, MODULE_STATUS_BUFFER_TOO_SMALL when the product has no usable plugin. Outputs are
    // set on success; the plugin writes the suppress flag itself, also when it fails.
    virtual uint32_t processAlert(const std::u16string& product, const std::u16string& alertText,
                                  std::u16string& processed, uint32_t* suppress, std::u16string& extra);
    virtual uint32_t getAlertContent(const std::u16string& product, const std::u16string& alertText,
                                     const std::u16string& viewerId, std::u16string& content);

private:
    // Runs function on the product's plugin, while nobody else runs one.
    template <class Function>
    uint32_t call(const std::u16string& product, Function function);
    void onProductDeleted(const std::u16string& propertyName);
    void invalidate(const std::u16string& product) REQUIRES(mutex_);
    std::shared_ptr<AlertPluginLib> findOrCreate(const std::u16string& product) REQUIRES(mutex_);

    const std::shared_ptr<Tavix::SettingsManagerClient> settings_;
    const PluginMaker makePlugin_;
    // Settings notifications pass it to reach this object.
    const std::shared_ptr<Tavix::CallbackGate> gate_;

    // Guards the table and serialises every call into any plugin, loading included; a plugin's own mutex is
    // taken after it.
    Platform::Mutex mutex_;
    std::unordered_map<std::u16string, std::shared_ptr<AlertPluginLib>> plugins_ GUARDED_BY(mutex_);

    // The thread that makes a call, 0 between calls. A bus that delivers from inside the call's own requests
    // tells of deletions on that thread, which holds the mutex; they take effect when the call ends.
    std::atomic<uintptr_t> caller_{0};
    std::vector<std::u16string> deletedMeanwhile_;  // the caller's alone
};

}  // namespace Vok
