#include "host/program/product/Product.h"

#include <utility>

#include <brevant/cpp/alerts.h>

#include "host/program/connection/SettingsRequests.h"
#include "json/JSONFormatter.h"
#include "platform/Clock.h"

namespace Host {
namespace {

constexpr auto idTimeout = std::chrono::milliseconds(5000);
// The broker answers a show request at once, but for the time in which a viewer keeps it waiting.
constexpr auto queueTimeout = std::chrono::seconds(100);
// What the broker adds to an alert's own time: the viewer's 90 s to confirm it, 30 s of patience, and once
// more the same for taking it down.
constexpr auto outcomePatience = std::chrono::seconds(240);

}  // namespace

Product::Product(const BrevantBusFunctions& functions) : connection_(functions, u"brevant-host") {}

bool Product::definePlugin(const std::u16string& product, const std::u16string& pluginFile) {
    const std::u16string property = Brevant::property(BREVANT_PRODUCT_KEY, product);
    if (hasProperty(connection_, property))
        return true;
    Tavix::JSONFormatter definition;
    definition.setString(BREVANT_PLUGIN_FILE, pluginFile);
    definition.setString(BREVANT_PLUGIN_PATH, u"$(App.Folder)");
    return setVolatileProperty(connection_, property, definition.toString());
}

std::optional<std::u16string> Product::instanceId() {
    BusAnswer answer = connection_.request(BREVANT_ALERT_GET_ID, {}, idTimeout);
    if (answer.status != MODULE_STATUS_SUCCESS)
        return std::nullopt;
    return std::move(answer.message.payload);
}

// Subscribes to what may become of the alert.
bool Product::follow(const std::u16string& alert, const std::u16string& instance) {
    const std::pair<const char16_t*, std::optional<Outcome>> words[] = {
        {BREVANT_ALERT_QUEUED, std::nullopt},
        {BREVANT_ALERT_SUPPRESSED, Outcome::suppressed},
        {BREVANT_ALERT_DISMISSED, Outcome::dismissed},
        {BREVANT_ALERT_FAILED, Outcome::failed}};
    for (const auto& [word, outcome] : words) {
        const std::u16string name = Brevant::alertMessage(alert, word, instance);
        const auto handler = [this, instance, name, outcome = outcome](const ReceivedMessage&) {
            return onStatus(instance, name, outcome);
        };
        if (!connection_.subscribe(name, handler))
            return false;
    }
    return true;
}

Product::Outcome Product::show(const AlertFile& alert, const std::u16string& instance) {
    {
        Platform::MutexLock lock(mutex_);
        instance_ = instance;
        queued_ = false;
        outcome_.reset();
        outcomeMessage_.clear();
    }
    if (!follow(alert.id(), instance))
        return Outcome::unanswered;
    if (connection_.publish(BREVANT_ALERT_SHOW + instance, alert.description(instance)) !=
        MODULE_STATUS_SUCCESS)
        return Outcome::unanswered;

    const Platform::Clock& clock = Platform::Clock::steady();
    const auto began = clock.now();
    const auto queueDeadline = Platform::deadlineAfter(began, queueTimeout);
    const auto outcomeDeadline = Platform::deadlineAfter(began, alert.timeout() + outcomePatience);
    Platform::MutexLock lock(mutex_);
    while (!outcome_ && !cancelled_) {
        if (!clock.waitUntil(changed_, lock, queued_ ? outcomeDeadline : queueDeadline) && !outcome_)
            return Outcome::unanswered;
    }
    return outcome_.value_or(Outcome::cancelled);
}

uint32_t Product::onStatus(const std::u16string& instance, const std::u16string& name,
                           std::optional<Outcome> outcome) {
    Platform::MutexLock lock(mutex_);
    if (instance != instance_)
        return MODULE_STATUS_SUCCESS;
    if (!outcome) {
        queued_ = true;
    } else if (!outcome_) {
        // The first one counts: an alert that failed may be dismissed afterwards.
        outcome_ = outcome;
        outcomeMessage_ = name;
    }
    changed_.notifyAll();
    return MODULE_STATUS_SUCCESS;
}

std::u16string Product::outcomeMessage() const {
    Platform::MutexLock lock(mutex_);
    return outcomeMessage_;
}

void Product::cancel() {
    Platform::MutexLock lock(mutex_);
    cancelled_ = true;
    changed_.notifyAll();
}

}  // namespace Host
