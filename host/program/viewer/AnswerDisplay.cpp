#include "host/program/viewer/AnswerDisplay.h"

#include "host/program/viewer/AlertCard.h"
#include "platform/Clock.h"
#include "platform/Sync.h"
#include "platform/Terminal.h"
#include "text/Utf.h"

namespace Host {
namespace {

// Ends by itself after that time.
class TimedShowing final : public Showing {
public:
    TimedShowing(std::chrono::seconds time, End end) : time_(time), end_(std::move(end)) {}

    End wait() override {
        const Platform::Clock& clock = Platform::Clock::steady();
        const auto deadline = Platform::deadlineAfter(clock.now(), time_);
        Platform::MutexLock lock(mutex_);
        while (!takenDown_ && clock.waitUntil(changed_, lock, deadline)) {
        }
        return takenDown_ ? End{Ending::takenDown} : end_;
    }
    void takeDown() override {
        Platform::MutexLock lock(mutex_);
        takenDown_ = true;
        changed_.notifyAll();
    }

private:
    const std::chrono::seconds time_;
    const End end_;
    // Guards takenDown_. A leaf.
    Platform::Mutex mutex_;
    Platform::ConditionVariable changed_;
    bool takenDown_ GUARDED_BY(mutex_) = false;
};

std::optional<size_t> actionNamed(const DisplayedAlert& alert, const std::u16string& name) {
    for (size_t at = 0; at < alert.actions.size(); ++at) {
        const DisplayedAlert::Action& action = alert.actions[at];
        if (name == action.id || name == action.text || name == Ferrow::decimal(at + 1))
            return at;
    }
    return std::nullopt;
}

}  // namespace

std::unique_ptr<Showing> AnswerDisplay::show(const DisplayedAlert& alert) {
    for (const std::u16string& line : alertCard(alert, Platform::terminalSize().columns))
        console_.note(line);
    if (answer_.kind == FixedAnswer::Kind::timeout)
        return std::make_unique<TimedShowing>(alert.timeout, Showing::End{Showing::Ending::timedOut});
    Showing::End end{Showing::Ending::dismissed};
    if (answer_.kind == FixedAnswer::Kind::action)
        end.action = actionNamed(alert, answer_.action);
    for (size_t at = 0; at < alert.options.size(); ++at) {
        if (alert.options[at].selected)
            end.ticked.push_back(at);
    }
    return std::make_unique<TimedShowing>(std::chrono::seconds(0), std::move(end));
}

}  // namespace Host
