// The viewers that are registered in the host's settings.
#pragma once

#include <memory>
#include <string>
#include <unordered_map>

#include "bus/CallbackGate.h"
#include "platform/Sync.h"

namespace Tavix {
class MessageBusClient;
class SettingsManagerClient;
}  // namespace Tavix

namespace Vok {

class AlertViewer;

// Keeps its table in step with the properties "Brevant/Viewer/<viewer id>". Stopping leaves the table as it
// is; starting again reads it anew and keeps the viewers it has. Any thread may call any operation.
class ViewerRegistrar {
public:
    // What is empty is made: a bus client of its own, a settings client over the bus client. Making a bus
    // client throws ModuleException.
    explicit ViewerRegistrar(std::shared_ptr<Tavix::MessageBusClient> busClient = nullptr,
                             std::shared_ptr<Tavix::SettingsManagerClient> settings = nullptr);
    // Waits for settings notifications that are running on other threads, and stops.
    virtual ~ViewerRegistrar();
    ViewerRegistrar(const ViewerRegistrar&) = delete;
    ViewerRegistrar& operator=(const ViewerRegistrar&) = delete;

    // Null when no viewer of that id is registered.
    virtual std::shared_ptr<AlertViewer> findViewer(const std::u16string& viewerId) const;

    // Watches the settings, then reads what is there; waits up to 5 s for the answer. A failure of either is
    // logged and start goes on with what it has. Throws as addViewer, once every other viewer has been added.
    void start();
    void stop();

    // Take the name of a viewer's property, and announce the change on the bus whether or not the table
    // changed. A name that does not begin with the prefix stands for the empty id. Throw std::out_of_range
    // for a name that is the prefix and nothing more.
    void addViewer(const std::u16string& propertyName);
    void removeViewer(const std::u16string& propertyName);

private:
    void announce(const std::u16string& viewerId, const char16_t* change);

    const std::shared_ptr<Tavix::MessageBusClient> busClient_;
    const std::shared_ptr<Tavix::SettingsManagerClient> settings_;
    // Settings notifications pass it to reach this object.
    const std::shared_ptr<Tavix::CallbackGate> gate_;

    // Guards the table alone; nothing is logged, published or destroyed under it.
    mutable Platform::Mutex mutex_;
    std::unordered_map<std::u16string, std::shared_ptr<AlertViewer>> viewers_ GUARDED_BY(mutex_);
};

}  // namespace Vok
