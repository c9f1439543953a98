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
        throw std::out_of_range("invalid string position");
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
                addViewer(name);
        },
        viewerKey);
    if (!watchesSet)
        LOG_MESSAGE(ETWLogging::levelWarning, function,
                    u"Failed to subscribe for alert viewer register operations.");

    const bool watchesDelete = settings_->subscribeDelete(
        [this, gate = gate_](const std::u16string& name) {
            if (const Tavix::CallbackGate::Pass pass(*gate); pass)
                removeViewer(name);
        },
        viewerKey);
    if (!watchesDelete)
        LOG_MESSAGE(ETWLogging::levelWarning, function,
                    u"Failed to subscribe for alert viewer unregister operations.");

    Tavix::SettingsManager::ValueMap properties;
    if (!settings_->getPropertiesByPrefix(viewerKey, properties, settingsTimeout))
        LOG_MESSAGE(ETWLogging::levelWarning, function, u"Failed to retreived registered viewers.");

    // One name makes addViewer throw; coming last, it keeps no viewer out.
    const bool keyItself = properties.erase(viewerKey) != 0;
    for (const auto& [name, value] : properties)
        addViewer(name);
    if (keyItself)
        addViewer(viewerKey);
}

void ViewerRegistrar::stop() {
    settings_->unsubscribeSet(viewerKey);
    settings_->unsubscribeDelete(viewerKey);
}

void ViewerRegistrar::addViewer(const std::u16string& propertyName) {
    constexpr const char16_t* function = u"Vok::ViewerRegistrar::addViewer";
    const std::optional<std::u16string> parsed = parseViewerId(propertyName);
    if (!parsed)
        LOG_FORMATTED(ETWLogging::levelError, function,
                      u"Failed to parse viewer id. Unable to add viewer. Key: %s", propertyName);
    const std::u16string viewerId = parsed.value_or(u"");

    const auto viewer = std::make_shared<AlertViewer>(viewerId, busClient_);
    {
        Platform::MutexLock lock(mutex_);
        viewers_.try_emplace(viewerId, viewer);
    }
    LOG_FORMATTED(ETWLogging::levelNormal, function, u"Viewer registered: %s", viewerId);
    announce(viewerId, BREVANT_VIEWER_REGISTERED);
}

void ViewerRegistrar::removeViewer(const std::u16string& propertyName) {
    constexpr const char16_t* function = u"Vok::ViewerRegistrar::removeViewer";
    const std::optional<std::u16string> parsed = parseViewerId(propertyName);
    if (!parsed)
        LOG_FORMATTED(ETWLogging::levelError, function,
                      u"Failed to parse viewer id. Unable to remove viewer. Key: %s", propertyName);
    const std::u16string viewerId = parsed.value_or(u"");

    decltype(viewers_)::node_type removed;
    {
        Platform::MutexLock lock(mutex_);
        removed = viewers_.extract(viewerId);
    }
    LOG_FORMATTED(ETWLogging::levelNormal, function, u"Viewer unregistered: %s", viewerId);
    announce(viewerId, BREVANT_VIEWER_UNREGISTERED);
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
