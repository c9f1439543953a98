#include "host/program/product/Product.h"

#include <algorithm>
#include <utility>

#include <brevant/cpp/alerts.h>

#include "host/program/connection/HostMessages.h"
#include "host/program/connection/SettingsRequests.h"
#include "json/JSONFormatter.h"

namespace Host {
namespace {

using Kind = AlertOutcome::Kind;

constexpr auto idTimeout = std::chrono::milliseconds(5000);
// The broker answers a show request at once, but for the time in which a viewer keeps it waiting.
constexpr auto queueTimeout = std::chrono::seconds(100);
// What the broker adds to the time of an alert on screen: 30 s of patience, and once more the viewer's 90 s
// and the same for taking it down.
constexpr auto outcomePatience = std::chrono::seconds(240);
// Messages of a choice travel beside the outcome, and the answer to a deletion follows it.
constexpr auto choiceSettling = std::chrono::milliseconds(300);
// That the alert is shown may have been heard so much later than its end, as seen from the viewer.
constexpr auto travelTime = std::chrono::milliseconds(200);
constexpr auto logoffSettling = std::chrono::milliseconds(1000);

constexpr Platform::Clock::Time never = Platform::Clock::Time::max();

Platform::Clock::Time now() {
    return Platform::Clock::steady().now();
}

bool isMessage(const DisplayedAlert::Message& expected, const ReceivedMessage& message) {
    return expected.name == message.name && expected.payload == message.payload;
}

}  // namespace

Product::Product(const BrevantBusFunctions& functions) : connection_(functions, u"brevant") {
    connection_.subscribe(BREVANT_SESSION_LOGOFF, [this](const ReceivedMessage& message) {
        onLogoff(message);
        return MODULE_STATUS_SUCCESS;
    });
}

bool Product::ensurePlugin(const std::u16string& product) {
    return connection_.request(BREVANT_HOST_STAND_IN, product, idTimeout).status == MODULE_STATUS_SUCCESS ||
           hasProperty(connection_, Brevant::property(BREVANT_PRODUCT_KEY, product));
}

std::optional<std::u16string> Product::instanceId() {
    BusAnswer answer = connection_.request(BREVANT_ALERT_GET_ID, {}, idTimeout);
    if (answer.status != MODULE_STATUS_SUCCESS)
        return std::nullopt;
    return std::move(answer.message.payload);
}

bool Product::follow(size_t index, const std::u16string& name, Word word) {
    return connection_.subscribe(name, [this, index, word](const ReceivedMessage&) {
        onWord(index, word);
        return MODULE_STATUS_SUCCESS;
    });
}

void Product::publish(const AlertFile& alert, const std::u16string& instance) {
    const std::u16string description = alert.description(instance);
    Followed entry;
    entry.session = alert.sessionId();
    entry.display = DisplayedAlert::parse(description).value_or(DisplayedAlert());
    std::vector<DisplayedAlert::Message> messages = entry.display.timeoutMessages;
    const auto& dismissal = entry.display.dismissalMessages;
    messages.insert(messages.end(), dismissal.begin(), dismissal.end());
    for (const DisplayedAlert::Action& action : entry.display.actions) {
        messages.push_back(action.message);
        for (const auto& tied : action.optionMessages)
            messages.push_back(tied.message);
    }
    size_t index = 0;
    {
        Platform::MutexLock lock(mutex_);
        index = followed_.size();
        followed_.push_back(std::move(entry));
    }

    const std::pair<const char16_t*, Word> words[] = {{BREVANT_ALERT_QUEUED, Word::queued},
                                                      {BREVANT_ALERT_SUPPRESSED, Word::suppressed},
                                                      {BREVANT_ALERT_SHOWN, Word::shown},
                                                      {BREVANT_ALERT_DISMISSED, Word::dismissed},
                                                      {BREVANT_ALERT_FAILED, Word::failed}};
    bool followed = true;
    for (const auto& [word, meaning] : words)
        followed = follow(index, Brevant::alertMessage(alert.id(), word, instance), meaning) && followed;
    // An alert that waits is withdrawn by its own id, one on screen by its instance.
    follow(index, Brevant::alertMessage({}, BREVANT_ALERT_DELETED, instance), Word::deleted);
    if (alert.id() != instance)
        follow(index, Brevant::alertMessage({}, BREVANT_ALERT_DELETED, alert.id()), Word::deleted);
    for (const DisplayedAlert::Message& message : messages) {
        if (message.name.empty() || std::ranges::count(choices_, message.name) != 0)
            continue;
        choices_.push_back(message.name);
        connection_.subscribe(message.name, [this](const ReceivedMessage& received) {
            onChoice(received);
            return MODULE_STATUS_SUCCESS;
        });
    }
    if (!followed) {
        Platform::MutexLock lock(mutex_);
        end(followed_[index], {.kind = Kind::unknown, .why = u"the message bus refuses the subscriptions"});
        return;
    }
    connection_.requestLater(BREVANT_ALERT_SHOW + instance, description, queueTimeout,
                             [this, index](const BusAnswer& answer) { onAnswer(index, answer); });
}

void Product::end(Followed& followed, AlertOutcome outcome, std::chrono::milliseconds settling) {
    outcome.wasShown = followed.shownAt.count() != 0;
    followed.outcome = std::move(outcome);
    followed.settled = settling.count() == 0 ? Platform::Clock::Time{} : now() + settling;
    changed_.notifyAll();
}

void Product::onWord(size_t index, Word word) {
    Platform::MutexLock lock(mutex_);
    Followed& followed = followed_[index];
    const bool isSettled = followed.outcome && followed.settled.count() == 0;
    if (isSettled || followed.endTold)
        return;
    switch (word) {
        case Word::queued:
            followed.isQueued = true;
            break;
        case Word::shown:
            followed.isQueued = true;
            followed.shownAt = now();
            // It was on its way to the screen when its session ended.
            if (followed.outcome && followed.outcome->kind == Kind::lost)
                followed.outcome.reset();
            break;
        case Word::suppressed:
            end(followed, {.kind = Kind::suppressed});
            break;
        case Word::failed:
            end(followed, {.kind = Kind::failed});
            break;
        case Word::deleted:
            end(followed, {.kind = Kind::withdrawn});
            break;
        case Word::dismissed: {
            if (followed.outcome && followed.outcome->kind != Kind::lost) {
                end(followed, *followed.outcome);  // its choice has come before
                break;
            }
            const bool inTime =
                followed.shownAt.count() == 0 ||
                now() + travelTime < Platform::deadlineAfter(followed.shownAt, followed.display.timeout);
            end(followed, {.kind = inTime ? Kind::dismissed : Kind::timedOut}, choiceSettling);
            break;
        }
    }
    changed_.notifyAll();
}

void Product::onAnswer(size_t index, const BusAnswer& answer) {
    if (answer.status == MODULE_STATUS_SUCCESS) {
        const std::u16string& name = answer.message.name;
        const std::u16string_view word(name.data(), name.rfind(u'.') + 1);
        if (word.ends_with(BREVANT_ALERT_QUEUED))
            onWord(index, Word::queued);
        else if (word.ends_with(BREVANT_ALERT_SUPPRESSED))
            onWord(index, Word::suppressed);
        return;
    }
    Platform::MutexLock lock(mutex_);
    Followed& followed = followed_[index];
    if (followed.outcome || followed.isQueued)
        return;
    const char16_t* why = answer.status == MODULE_STATUS_NO_SUBSCRIBERS ? u"no broker takes alerts"
                          : answer.status == MODULE_STATUS_TIMEOUT      ? u"the broker does not answer"
                                                                        : u"the broker refuses it";
    end(followed, {.kind = Kind::unknown, .why = why});
}

std::optional<AlertOutcome> Product::chosenBy(const Followed& followed, const ReceivedMessage& message) {
    const DisplayedAlert& alert = followed.display;
    const auto isThis = [&](const DisplayedAlert::Message& expected) { return isMessage(expected, message); };
    for (const DisplayedAlert::Action& action : alert.actions) {
        const bool tied =
            std::ranges::any_of(action.optionMessages, isThis, &DisplayedAlert::OptionMessage::message);
        if (tied || isThis(action.message))
            return AlertOutcome{.kind = Kind::chosen,
                                .action = action.text.empty() ? action.id : action.text,
                                .message = {message.name, message.payload}};
    }
    if (std::ranges::any_of(alert.dismissalMessages, isThis))
        return AlertOutcome{.kind = Kind::dismissed};
    if (std::ranges::any_of(alert.timeoutMessages, isThis))
        return AlertOutcome{.kind = Kind::timedOut};
    return std::nullopt;
}

void Product::onChoice(const ReceivedMessage& message) {
    Platform::MutexLock lock(mutex_);
    // Alerts may share their messages: the one whose outcome is open for it, then one that is on screen.
    Followed* chosen = nullptr;
    const auto rank = [](const Followed& followed) {
        const bool isOpen = followed.outcome && followed.settled.count() != 0;
        return isOpen ? 2 : followed.shownAt.count() != 0 ? 1 : 0;
    };
    for (Followed& followed : followed_) {
        const bool isOver = followed.endTold || (followed.outcome && followed.settled.count() == 0);
        if (!isOver && (!chosen || rank(followed) > rank(*chosen)) && chosenBy(followed, message))
            chosen = &followed;
    }
    if (!chosen)
        return;
    const AlertOutcome outcome = *chosenBy(*chosen, message);
    if (chosen->outcome)
        end(*chosen, outcome);
    else
        end(*chosen, outcome, outcomePatience);  // its Dismissed is to come
}

void Product::onLogoff(const ReceivedMessage& message) {
    Tavix::JSONFormatter payload;
    uint32_t session = 0;
    if (!payload.parse(message.payload) || !payload.getUInt32(BREVANT_SESSION_ID, session) || session == 0)
        return;
    Platform::MutexLock lock(mutex_);
    for (Followed& followed : followed_) {
        if (followed.session == session && !followed.outcome && followed.shownAt.count() == 0)
            end(followed, {.kind = Kind::lost, .why = u"its user logged off"}, logoffSettling);
    }
}

Product::Step Product::next(std::chrono::milliseconds most) {
    const Platform::Clock& clock = Platform::Clock::steady();
    const auto patience = Platform::deadlineAfter(clock.now(), most);
    Platform::MutexLock lock(mutex_);
    for (;;) {
        const auto time = clock.now();
        auto wakeUp = patience;
        bool open = false;
        for (size_t at = 0; at < followed_.size(); ++at) {
            Followed& followed = followed_[at];
            if (followed.isQueued && !std::exchange(followed.queuedTold, true))
                return {Step::Kind::queued, at};
            if (followed.endTold)
                continue;
            auto deadline = followed.settled;
            if (!followed.outcome)
                deadline = followed.shownAt.count() == 0
                               ? never
                               : Platform::deadlineAfter(
                                     Platform::deadlineAfter(followed.shownAt, followed.display.timeout),
                                     outcomePatience);
            if (time >= deadline) {
                if (!followed.outcome)
                    end(followed, {.kind = Kind::unknown, .why = u"no outcome came in time"});
                followed.endTold = true;
                return {Step::Kind::ended, at, *followed.outcome};
            }
            open = true;
            wakeUp = std::min(wakeUp, deadline);
        }
        if (!open)
            return {Step::Kind::over};
        if (cancelled_)
            return {Step::Kind::cancelled};
        if (time >= patience)
            return {Step::Kind::idle};
        clock.waitUntil(changed_, lock, wakeUp);
    }
}

void Product::giveUp(size_t alert, const std::u16string& why) {
    Platform::MutexLock lock(mutex_);
    if (!followed_[alert].outcome)
        end(followed_[alert], {.kind = Kind::unknown, .why = why});
}

void Product::loseAll(const std::u16string& why) {
    Platform::MutexLock lock(mutex_);
    for (Followed& followed : followed_) {
        if (!followed.outcome)
            end(followed, {.kind = Kind::lost, .why = why});
    }
}

void Product::cancel() {
    Platform::MutexLock lock(mutex_);
    cancelled_ = true;
    changed_.notifyAll();
}

}  // namespace Host
