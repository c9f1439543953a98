// The viewers that are registered in the host's settings.
#pragma once

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
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
//
// The settings tell of sets and of deletions through two subscriptions, and a bus keeps the order within each
// alone: a viewer that restarts, and so deletes its property and sets it again, may be heard of the other way
// round, and a list that was asked for may be older than a deletion that has come meanwhile. What is told
// only says that something has changed. So where the table has followed a change that may be out of date, the
// settings are asked for the property as it is now, and the table follows the answer; of changes that are
// looked into at the same time the one that came last decides: its question is younger than every change that
// has been told. This rests on nothing but that the settings manager makes a change before it tells of it; an
// order between the two subscriptions would have to come from the bus, and not every bus has one.
class ViewerRegistrar {
public:
    // What is empty is made: a bus client of its own, a settings client over the bus client. Making a bus
    // client throws ModuleException.
    explicit ViewerRegistrar(std::shared_ptr<Tavix::MessageBusClient> busClient = nullptr,
                             std::shared_ptr<Tavix::SettingsManagerClient> settings = nullptr);
    // Waits for settings notifications that are running on other threads, which may wait for the settings
    // manager as start does, and stops.
    virtual ~ViewerRegistrar();
    ViewerRegistrar(const ViewerRegistrar&) = delete;
    ViewerRegistrar& operator=(const ViewerRegistrar&) = delete;

    // Null when no viewer of that id is registered.
    virtual std::shared_ptr<AlertViewer> findViewer(const std::u16string& viewerId) const;

    // Watches the settings, then reads what is there; waits up to 6 s for the answer, and again for each
    // viewer of which a deletion has been told, until an answer fails to come. A failure of either is logged
    // and start goes on with what it has. Throws as addViewer, once every other viewer has been added.
    void start();
    void stop();

    // Take the name of a viewer's property, and announce the change on the bus whether or not the table
    // changed. A name that does not begin with the prefix stands for the empty id. Throw std::out_of_range
    // for a name that is the prefix and nothing more. They do what they say, whatever the settings hold.
    void addViewer(const std::u16string& propertyName);
    void removeViewer(const std::u16string& propertyName);

private:
    // What the settings tell, or have listed, may be out of date; what a caller wants is not.
    enum class Source { caller, settings, list };
    class Starting;
    using Viewers = std::unordered_map<std::u16string, std::shared_ptr<AlertViewer>>;
    // What a change of the table needs, made before the lock is taken, and what it removes, let go of after.
    struct Change {
        std::shared_ptr<AlertViewer> viewer;
        Viewers::node_type removed;
    };
    // The changes of one viewer that are being looked into.
    struct Inquiry {
        size_t running = 0;
        uint64_t latest = 0;
    };
    static constexpr size_t deletionPlaces = 4096;

    // False when the settings manager was asked and did not answer.
    bool add(const std::u16string& propertyName, Source source);
    void remove(const std::u16string& propertyName, Source source);
    // Makes the change. When it may be out of date, gives the number under which to look again.
    std::optional<uint64_t> change(const std::u16string& viewerId, bool registered, Source source);
    // Brings the table in step with what the settings hold by now, unless a later change does. Returns as
    // add.
    bool lookAgain(const std::u16string& viewerId, const std::u16string& propertyName, uint64_t inquiry);
    void apply(Change& change, bool registered) REQUIRES(mutex_);
    std::optional<bool> isSet(const std::u16string& propertyName) noexcept;
    void announce(const std::u16string& viewerId, const char16_t* change);

    const std::shared_ptr<Tavix::MessageBusClient> busClient_;
    const std::shared_ptr<Tavix::SettingsManagerClient> settings_;
    // Settings notifications pass it to reach this object.
    const std::shared_ptr<Tavix::CallbackGate> gate_;

    // Guards the tables alone; nothing is logged, requested, published or destroyed under it.
    mutable Platform::Mutex mutex_;
    Viewers viewers_ GUARDED_BY(mutex_);
    std::unordered_map<std::u16string, Inquiry> inquiries_ GUARDED_BY(mutex_);  // by viewer id
    // By hash of the viewer id, since ids may be without number: whether a deletion has been told, which may
    // be younger than a set that is still to come. Those that share a place cost each other a question.
    std::bitset<deletionPlaces> deletionTold_ GUARDED_BY(mutex_);
    bool starting_ GUARDED_BY(mutex_) = false;
};

}  // namespace Vok
