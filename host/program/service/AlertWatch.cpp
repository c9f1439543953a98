#include "host/program/service/AlertWatch.h"

#include <algorithm>

#include <brevant/alerts.h>
#include <brevant/cpp/alerts.h>

#include "host/program/connection/HostError.h"

namespace Host {
namespace {

Platform::Clock::Time now() {
    return Platform::Clock::steady().now();
}

}  // namespace

AlertWatch::AlertWatch(const BrevantBusFunctions& functions) : connection_(functions, u"AlertWatch") {
    const bool subscribed =
        connection_.subscribePattern(literalPattern(BREVANT_ALERT_PREFIX) + u".+",
                                     [this](const ReceivedMessage& message) { return onMessage(message); }) &&
        connection_.subscribe(BREVANT_SESSION_LOGOFF, [this](const ReceivedMessage& message) {
            onLogoff(message.payload);
            return MODULE_STATUS_SUCCESS;
        });
    if (!subscribed)
        throw HostError("the message bus refuses the host's subscriptions");
}

uint32_t AlertWatch::onMessage(const ReceivedMessage& message) {
    // It answers nothing: a request that nobody else takes must not wait for it.
    constexpr uint32_t noAnswer = MODULE_STATUS_NO_SUBSCRIBERS;
    const std::u16string& name = message.name;
    const std::u16string instance = Brevant::instanceOf(name);
    if (name.starts_with(BREVANT_ALERT_SHOW)) {
        onRequest(instance, message.payload);
        return noAnswer;
    }
    const std::u16string_view head(name.data(), name.size() - instance.size());
    Platform::MutexLock lock(mutex_);
    if (head.ends_with(BREVANT_ALERT_QUEUED)) {
        if (Seen* seen = find(instance))
            seen->isQueued = true;
    } else if (head.ends_with(BREVANT_ALERT_SHOWN)) {
        Seen* seen = find(instance);
        if (!seen || seen->alert.isShown)
            return noAnswer;
        seen->isQueued = seen->alert.isShown = true;
        seen->since = now();
    } else if (head.ends_with(BREVANT_ALERT_SUPPRESSED) || head.ends_with(BREVANT_ALERT_DISMISSED) ||
               head.ends_with(BREVANT_ALERT_FAILED)) {
        forget(instance);
    } else if (head.ends_with(BREVANT_ALERT_DELETED)) {
        // What waits is deleted by its own id, what is shown by its instance.
        const auto byId =
            std::ranges::find_if(seen_, [&](const auto& entry) { return entry.second.alert.id == instance; });
        forget(byId == seen_.end() || byId->second.alert.isShown ? instance : byId->first);
    }
    return noAnswer;
}

AlertWatch::Seen* AlertWatch::find(const std::u16string& instance) {
    if (ended_.contains(instance))
        return nullptr;
    if (const auto found = seen_.find(instance); found != seen_.end())
        return &found->second;
    if (seen_.size() >= mostSeen)
        return nullptr;
    Seen& seen = seen_[instance];
    seen.alert.instance = instance;
    seen.since = now();
    return &seen;
}

void AlertWatch::forget(const std::u16string& instance) {
    seen_.erase(instance);
    if (!ended_.insert(instance).second)
        return;
    endedOrder_.push_back(instance);
    if (endedOrder_.size() > mostEnded) {
        ended_.erase(endedOrder_.front());
        endedOrder_.pop_front();
    }
}

void AlertWatch::onRequest(const std::u16string& instance, const std::u16string& description) {
    Tavix::JSONFormatter document;
    if (!document.parse(description))
        return;
    HostStatus::Alert alert;
    document.getString(BREVANT_DESCRIPTION_ID, alert.id);
    document.getString(BREVANT_DESCRIPTION_PRIORITY, alert.priority);
    document.getUInt32(BREVANT_DESCRIPTION_SESSION_ID, alert.session);
    if (Tavix::JSONView context; document.view().getObject(BREVANT_DESCRIPTION_CONTEXT, context))
        context.getString(BREVANT_CONTEXT_TITLE, alert.title);
    alert.likeness = likenessOf(document.view());
    Platform::MutexLock lock(mutex_);
    Seen* const seen = find(instance);
    if (!seen)
        return;
    alert.instance = instance;
    alert.isShown = seen->alert.isShown;
    seen->alert = std::move(alert);
}

void AlertWatch::onLogoff(const std::u16string& text) {
    Tavix::JSONFormatter payload;
    uint32_t session = 0;
    if (!payload.parse(text) || !payload.getUInt32(BREVANT_SESSION_ID, session) || session == 0)
        return;
    Platform::MutexLock lock(mutex_);
    std::vector<std::u16string> lost;
    for (const auto& [instance, seen] : seen_) {
        if (seen.alert.session == session && !seen.alert.isShown)
            lost.push_back(instance);
    }
    // Not as ended: one that is on its way to the screen may still be shown.
    for (const std::u16string& instance : lost)
        seen_.erase(instance);
}

void AlertWatch::describe(HostStatus& status) const {
    const auto time = now();
    Platform::MutexLock lock(mutex_);
    for (const auto& [instance, seen] : seen_) {
        if (!seen.isQueued)
            continue;
        ++(seen.alert.isShown ? status.shown : status.waiting);
        if (status.alerts.size() >= HostStatus::mostAlerts)
            continue;
        HostStatus::Alert& alert = status.alerts.emplace_back(seen.alert);
        alert.seconds = static_cast<uint32_t>(
            std::chrono::duration_cast<std::chrono::seconds>(time - seen.since).count());
    }
}

std::vector<std::u16string> AlertWatch::held() const {
    std::vector<std::u16string> alerts;
    Platform::MutexLock lock(mutex_);
    for (const auto& [instance, seen] : seen_) {
        const char16_t* state = seen.alert.isShown ? u" (on screen)"
                                : seen.isQueued    ? u" (waiting)"
                                                   : u" (with its plugin)";
        alerts.push_back(u"\"" + seen.alert.id + u"\", instance " + instance + state);
    }
    return alerts;
}

std::vector<std::u16string> AlertWatch::deletions() const {
    std::vector<std::u16string> waiting, shown;
    Platform::MutexLock lock(mutex_);
    for (const auto& [instance, seen] : seen_) {
        if (seen.alert.isShown)
            shown.push_back(BREVANT_ALERT_DELETE + instance);
        else if (seen.isQueued)
            waiting.push_back(BREVANT_ALERT_DELETE + seen.alert.id);
    }
    waiting.insert(waiting.end(), shown.begin(), shown.end());
    return waiting;
}

}  // namespace Host
