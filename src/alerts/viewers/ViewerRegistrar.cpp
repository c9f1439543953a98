#include "alerts/viewers/ViewerRegistrar.h"

#include <chrono>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>

#include <brevant/cpp/alerts.h>

#include "alerts/viewers/AlertViewer.h"
#include "bus/MessageBusClient.h"
#include "logging/Log.h"
#include "settings/SettingsManagerClient.h"

namespace Vok {

namespace {

constexpr std::u16string_view logSource = u"ViewerRegistrar";
constexpr std::chrono::milliseconds settingsTimeout{5000};

constexpr const char16_t* viewerKey = BREVANT_VIEWER_KEY;

// Nothing when the name does not begin with the key.
std::optional<std::u16string> parseViewerId(const std::u16string& propertyName) {
    constexpr std::u16string_view prefix = viewerKey;
    if (!propertyName.starts_with(prefix))
        return std::nullopt;
    const size_t begin = prefix.size() + 1;  // after the separator, whatever it is
    if (begin > propertyName.size())
        throw std::out_of_range("invalid string position");  // compat
    return propertyName.substr(begin);
}

}  // namespace

// Until the list has been added, nothing tells of deletions that came before the subscription to them.
class ViewerRegistrar::Starting {
public:
    explicit Starting(ViewerRegistrar& registrar) : registrar_(registrar) { set(true); }
    ~Starting() { set(false); }
    Starting(const Starting&) = delete;
    Starting& operator=(const Starting&) = delete;

private:
    void set(bool starting) {
        Platform::MutexLock lock(registrar_.mutex_);
        registrar_.starting_ = starting;
    }

    ViewerRegistrar& registrar_;
};

ViewerRegistrar::ViewerRegistrar(std::shared_ptr<Tavix::MessageBusClient> busClient,
                                 std::shared_ptr<Tavix::SettingsManagerClient> settings)
    : busClient_(busClient ? std::move(busClient) : std::make_shared<Tavix::MessageBusClient>()),
      settings_(settings ? std::move(settings) : std::make_shared<Tavix::SettingsManagerClient>(busClient_)),
      gate_(std::make_shared<Tavix::CallbackGate>()) {}

ViewerRegistrar::~ViewerRegistrar() {
    gate_->close();
    try {
        stop();
    } catch (...) {
        // Without memory for the names it is left to the client's own end.
    }
}

void ViewerRegistrar::start() {
    constexpr const char16_t* function = u"Vok::ViewerRegistrar::start";
    const Starting starting(*this);
    const bool watchesSet = settings_->subscribeSet(
        [this, gate = gate_](const std::u16string& name, const std::u16string&) {
            if (const Tavix::CallbackGate::Pass pass(*gate); pass)
                add(name, Source::settings);
        },
        viewerKey);
    if (!watchesSet)
        LOG_MESSAGE(ETWLogging::levelWarning, function,
                    u"Failed to subscribe for alert viewer register operations.");

    const bool watchesDelete = settings_->subscribeDelete(
        [this, gate = gate_](const std::u16string& name) {
            if (const Tavix::CallbackGate::Pass pass(*gate); pass)
                remove(name, Source::settings);
        },
        viewerKey);
    if (!watchesDelete)
        LOG_MESSAGE(ETWLogging::levelWarning, function,
                    u"Failed to subscribe for alert viewer unregister operations.");

    Tavix::SettingsManager::ValueMap properties;
    if (!settings_->getPropertiesByPrefix(viewerKey, properties, settingsTimeout))
        // compat
        LOG_MESSAGE(ETWLogging::levelWarning, function, u"Failed to retreived registered viewers.");

    // One name makes add throw; coming last, it keeps no viewer out.
    const bool keyItself = properties.erase(viewerKey) != 0;
    Source source = Source::list;
    for (const auto& [name, value] : properties)
        if (!add(name, source))
            source = Source::caller;  // who does not answer is asked no more
    if (keyItself)
        add(viewerKey, source);
}

void ViewerRegistrar::stop() {
    settings_->unsubscribeSet(viewerKey);
    settings_->unsubscribeDelete(viewerKey);
}

void ViewerRegistrar::addViewer(const std::u16string& propertyName) {
    add(propertyName, Source::caller);
}

void ViewerRegistrar::removeViewer(const std::u16string& propertyName) {
    remove(propertyName, Source::caller);
}

bool ViewerRegistrar::add(const std::u16string& propertyName, Source source) {
    constexpr const char16_t* function = u"Vok::ViewerRegistrar::addViewer";
    const std::optional<std::u16string> parsed = parseViewerId(propertyName);
    if (!parsed)
        LOG_FORMATTED(ETWLogging::levelError, function,
                      u"Failed to parse viewer id. Unable to add viewer. Key: %s", propertyName);  // compat
    const std::u16string viewerId = parsed.value_or(u"");

    const std::optional<uint64_t> inquiry = change(viewerId, true, source);
    LOG_FORMATTED(ETWLogging::levelNormal, function, u"Viewer registered: %s", viewerId);
    announce(viewerId, BREVANT_VIEWER_REGISTERED);  // compat
    return !inquiry || lookAgain(viewerId, propertyName, *inquiry);
}

void ViewerRegistrar::remove(const std::u16string& propertyName, Source source) {
    constexpr const char16_t* function = u"Vok::ViewerRegistrar::removeViewer";
    const std::optional<std::u16string> parsed = parseViewerId(propertyName);
    if (!parsed)
        LOG_FORMATTED(ETWLogging::levelError, function,
                      // compat
                      u"Failed to parse viewer id. Unable to remove viewer. Key: %s", propertyName);
    const std::u16string viewerId = parsed.value_or(u"");

    const std::optional<uint64_t> inquiry = change(viewerId, false, source);
    LOG_FORMATTED(ETWLogging::levelNormal, function, u"Viewer unregistered: %s", viewerId);
    announce(viewerId, BREVANT_VIEWER_UNREGISTERED);  // compat
    if (inquiry)
        lookAgain(viewerId, propertyName, *inquiry);
}

std::optional<uint64_t> ViewerRegistrar::change(const std::u16string& viewerId, bool registered,
                                                Source source) {
    const size_t place = std::hash<std::u16string>()(viewerId) % deletionPlaces;
    Change made{std::make_shared<AlertViewer>(viewerId, busClient_), {}};
    Platform::MutexLock lock(mutex_);
    const bool known = viewers_.contains(viewerId);
    const bool mayBeOld =
        registered ? !known && ((starting_ && source == Source::settings) || deletionTold_[place]) : known;
    const auto overlapping = inquiries_.find(viewerId);
    const bool overlaps = overlapping != inquiries_.end();
    if (!registered)
        deletionTold_.set(place);
    apply(made, registered);
    if (overlaps)
        ++overlapping->second.latest;
    if (source == Source::caller || !(mayBeOld || overlaps))
        return std::nullopt;
    Inquiry& inquiry = overlaps ? overlapping->second : inquiries_[viewerId];
    ++inquiry.running;
    return overlaps ? inquiry.latest : ++inquiry.latest;
}

void ViewerRegistrar::apply(Change& change, bool registered) {
    if (registered)
        viewers_.try_emplace(change.viewer->getId(), change.viewer);
    else
        change.removed = viewers_.extract(change.viewer->getId());
}

bool ViewerRegistrar::lookAgain(const std::u16string& viewerId, const std::u16string& propertyName,
                                uint64_t inquiry) {
    const std::optional<bool> found = isSet(propertyName);
    Change made{std::make_shared<AlertViewer>(viewerId, busClient_), {}};
    Platform::MutexLock lock(mutex_);
    const auto running = inquiries_.find(viewerId);
    const bool isLatest = running->second.latest == inquiry;
    if (--running->second.running == 0)
        inquiries_.erase(running);
    if (found && isLatest)
        apply(made, *found);
    return found.has_value();
}

std::optional<bool> ViewerRegistrar::isSet(const std::u16string& propertyName) noexcept {
    try {
        return settings_->hasProperty(propertyName, settingsTimeout);
    } catch (...) {
        return std::nullopt;  // without memory to ask
    }
}

std::shared_ptr<AlertViewer> ViewerRegistrar::findViewer(const std::u16string& viewerId) const {
    Platform::MutexLock lock(mutex_);
    const auto found = viewers_.find(viewerId);
    return found == viewers_.end() ? nullptr : found->second;
}

void ViewerRegistrar::announce(const std::u16string& viewerId, const char16_t* change) {
    busClient_->publish(Tavix::makeMessage(Brevant::viewerMessage(viewerId, change), BREVANT_SENDER, u""));
}

}  // namespace Vok
