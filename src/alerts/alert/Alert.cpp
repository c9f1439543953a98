#include "alerts/alert/Alert.h"

#include <utility>

#include <brevant/alerts.h>
#include <brevant/status.h>

#include "alerts/description/AlertContext.h"
#include "alerts/viewers/AlertViewer.h"
#include "bus/MessageBusClient.h"
#include "platform/Sync.h"

namespace Vok {

namespace {

AlertContext contextOf(const AlertInfo& info) {
    AlertContext context;
    context.fromJson(info.context);
    return context;
}

// Identifiers are commonly GUIDs in braces, which a pattern would take for repetition counts. Nothing else is
// escaped: viewers rely on the looser match.
std::u16string outcomePatternOf(const AlertInfo& info) {
    std::u16string pattern = BREVANT_ALERT_PREFIX;
    for (const char16_t unit : info.id) {
        if (unit == u'{' || unit == u'}')
            pattern += u'\\';
        pattern += unit;
    }
    return pattern + u"(" BREVANT_ALERT_DISMISSED u"|" BREVANT_ALERT_FAILED u")" + info.instanceId;  // compat
}

}  // namespace

struct Alert::Outcome {
    // Guards received, which is only ever set. Held while the subscription is removed; no callback is waited
    // for under it.
    Platform::Mutex mutex;
    Platform::ConditionVariable condition;
    std::atomic<bool> received{false};  // written under the mutex; may be read without
};

Alert::Alert(AlertInfo info, std::shared_ptr<Tavix::MessageBusClient> busClient, const Platform::Clock& clock)
    : info_(std::move(info)),
      duplicateKey_(info_.context.duplicateKey()),
      clock_(clock),
      outcome_(std::make_shared<Outcome>()),
      busClient_(busClient ? std::move(busClient) : std::make_shared<Tavix::MessageBusClient>()) {}

Alert::~Alert() = default;

bool Alert::precedes(const Alert& other) const {
    return info_.priority < other.info_.priority;
}

bool Alert::isDuplicateOf(const Alert& other) const {
    if (!canBeDuplicate() || duplicateKey_ != other.duplicateKey_)
        return false;
    // Read once more: few alerts ever come so far, and those that wait are many.
    return info_.context.text() == other.info_.context.text() ||
           displaySameTexts(contextOf(info_), contextOf(other.info_));
}

const AlertInfo& Alert::getInfo() const {
    return info_;
}

void Alert::setContent(std::u16string content) {
    info_.content = std::move(content);
}

const std::u16string& Alert::getContent() const {
    return info_.content;
}

void Alert::setViewer(std::shared_ptr<AlertViewer> viewer) {
    viewer_ = std::move(viewer);
}

const std::shared_ptr<AlertViewer>& Alert::getViewer() const {
    return viewer_;
}

bool Alert::show() {
    if (!viewer_)
        return false;
    if (started_.exchange(true))
        return true;
    const std::u16string pattern = outcomePatternOf(info_);
    busClient_->subscribeFilter(pattern, pattern,
                                [outcome = outcome_](const std::shared_ptr<Tavix::Message>&) {
                                    {
                                        Platform::MutexLock lock(outcome->mutex);
                                        outcome->received = true;  // compat
                                    }
                                    outcome->condition.notifyAll();
                                    return MODULE_STATUS_SUCCESS;
                                });
    return viewer_->show(info_.toJson(), info_.id, info_.instanceId);
}

bool Alert::waitForOutcome(int64_t seconds) {
    if (!started_)
        return false;
    if (outcome_->received)
        return true;
    const Platform::Clock::Time deadline =
        Platform::deadlineAfter(clock_.now(), std::chrono::seconds(seconds));
    const std::u16string pattern = outcomePatternOf(info_);
    Platform::MutexLock lock(outcome_->mutex);
    while (!outcome_->received && clock_.waitUntil(outcome_->condition, lock, deadline)) {
    }
    busClient_->unsubscribe(pattern);  // compat
    return outcome_->received;
}

bool Alert::dismiss() {
    if (!started_)
        return false;
    if (outcome_->received)
        return true;
    return viewer_->dismiss(info_.id, info_.instanceId) && waitForOutcome(dismissalGrace.count());
}

bool Alert::isStarted() const {
    return started_;
}

}  // namespace Vok
