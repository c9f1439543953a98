// One product's alert plugin: finds, loads and calls it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <utility>

#include <brevant/plugin.h>

#include "alerts/plugins/PluginState.h"
#include "platform/Sync.h"

namespace Tavix {
struct LibraryDefinition;
class SettingsManager;
class SharedLibrary;
}  // namespace Tavix

namespace Vok {

// The definition is the settings property "Brevant/Product/<product>". A plugin found in any state but loaded
// is unloaded and loaded again before it is called.
//
//                                 | unloaded or other   | loaded    | invalidated
//   load                          | loaded if it works  | reloads   | loaded if it works
//   unload                        | unloaded            | unloaded  | unloaded
//   processAlert, getAlertContent | unload, load, call  | call      | unload, load, call
//
// Plugins come from outside: a call that throws gives MODULE_STATUS_UNKNOWN_EXCEPTION, an entry that is
// missing from the table MODULE_STATUS_NOT_SUPPORTED, a null text is an empty one. Statuses are passed on as
// they come. What the plugin failed at is logged in a record of its own, once for each cause.
class AlertPluginLib {
public:
    // Throws a standard exception when the library cannot be had.
    using LibraryLoader = std::function<std::shared_ptr<Tavix::SharedLibrary>(Tavix::LibraryDefinition)>;

    // Does not load. Empty settings are replaced by a client of its own, an empty loader by the system's.
    explicit AlertPluginLib(std::u16string product, std::shared_ptr<Tavix::SharedLibrary> library = nullptr,
                            std::shared_ptr<Tavix::SettingsManager> settings = nullptr,
                            LibraryLoader loadLibrary = nullptr);
    // Ends the instance and then lets go of the library.
    virtual ~AlertPluginLib();
    AlertPluginLib(const AlertPluginLib&) = delete;
    AlertPluginLib& operator=(const AlertPluginLib&) = delete;

    // Outputs are set on success; the plugin writes the suppress flag itself, also when it fails.
    virtual uint32_t processAlert(const std::u16string& alertText, std::u16string& processed,
                                  uint32_t* suppress, std::u16string& extra);
    virtual uint32_t getAlertContent(const std::u16string& alertText, const std::u16string& viewerId,
                                     std::u16string& content);

    // Waits up to 5 s for the settings manager. A failure leaves the state as it was. load and unload take no
    // lock: call them before the object is shared; the calls above make them under theirs.
    virtual uint32_t load() NO_THREAD_SAFETY_ANALYSIS;
    virtual void unload() NO_THREAD_SAFETY_ANALYSIS;
    virtual void setState(PluginState state);

private:
    // Loads the plugin unless it is loaded; function is the caller's, for its log record.
    uint32_t verifyState(const char16_t* function) REQUIRES(mutex_);
    uint32_t createInstance() REQUIRES(mutex_);
    uint32_t destroyInstance() REQUIRES(mutex_);
    // Whatever an entry of the plugin throws ends here. Its name is that in the plugin's table, which may
    // have null in its place.
    template <class Call>
    uint32_t callPlugin(const char16_t* function, const char16_t* entry, bool isThere, Call&& call)
        REQUIRES(mutex_);
    // Whether the entry failed so for the first time since the plugin's definition was last set.
    bool isNews(const char16_t* entry, uint32_t status) noexcept REQUIRES(mutex_);

    const std::u16string product_;
    const std::shared_ptr<Tavix::SettingsManager> settings_;
    const LibraryLoader loadLibrary_;

    // Serialises the plugin's calls and setState; held through each call, a reload included. Taken after the
    // registry's mutex.
    Platform::Mutex mutex_;
    std::shared_ptr<Tavix::SharedLibrary> library_ GUARDED_BY(mutex_);
    void* instance_ GUARDED_BY(mutex_) = nullptr;
    const AlertPluginApi* api_ GUARDED_BY(mutex_) = nullptr;  // the library's own
    PluginState state_ GUARDED_BY(mutex_) = PluginState::unloaded;
    std::set<std::pair<std::u16string, uint32_t>> told_ GUARDED_BY(mutex_);  // failures of entries
};

}  // namespace Vok
