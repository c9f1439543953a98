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
    Source source = Source::settings;
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

    const bool answered = change(viewerId, propertyName, true, source);
    LOG_FORMATTED(ETWLogging::levelNormal, function, u"Viewer registered: %s", viewerId);
    announce(viewerId, BREVANT_VIEWER_REGISTERED);  // compat
    return answered;
}

void ViewerRegistrar::remove(const std::u16string& propertyName, Source source) {
    constexpr const char16_t* function = u"Vok::ViewerRegistrar::removeViewer";
    const std::optional<std::u16string> parsed = parseViewerId(propertyName);
    if (!parsed)
        LOG_FORMATTED(ETWLogging::levelError, function,
                      // compat
                      u"Failed to parse viewer id. Unable to remove viewer. Key: %s", propertyName);
    const std::u16string viewerId = parsed.value_or(u"");

    change(viewerId, propertyName, false, source);
    LOG_FORMATTED(ETWLogging::levelNormal, function, u"Viewer unregistered: %s", viewerId);
    announce(viewerId, BREVANT_VIEWER_UNREGISTERED);  // compat
}

bool ViewerRegistrar::change(const std::u16string& viewerId, const std::u16string& propertyName,
                             bool registered, Source source) {
    const auto viewer = std::make_shared<AlertViewer>(viewerId, busClient_);
    decltype(viewers_)::node_type removed;
    const size_t place = std::hash<std::u16string>()(viewerId) % deletionPlaces;
    std::optional<bool> found;

    Platform::MutexLock lock(mutex_);
    const bool known = viewers_.contains(viewerId);
    const bool mayBeOld = registered ? !known && deletionTold_[place] : known;
    const bool overlaps = inquiries_.contains(viewerId);
    const bool asks = source == Source::settings && (mayBeOld || overlaps);
    if (!registered)
        deletionTold_.set(place);
    if (asks || overlaps) {
        Inquiry& inquiry = inquiries_[viewerId];
        ++inquiry.running;
        const uint64_t mine = ++inquiry.latest;
        if (asks) {
            lock.unlock();
            found = isSet(propertyName);
            lock.lock();
        }
        const bool isLatest = inquiry.latest == mine;
        if (--inquiry.running == 0)
            inquiries_.erase(viewerId);
        if (!isLatest)
            return found || !asks;
    }
    if (found.value_or(registered))
        viewers_.try_emplace(viewerId, viewer);
    else
        removed = viewers_.extract(viewerId);
    return found || !asks;
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
