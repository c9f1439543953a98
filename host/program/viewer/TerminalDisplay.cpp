#include "host/program/viewer/TerminalDisplay.h"

#include <algorithm>

#include "host/program/viewer/AlertCard.h"
#include "platform/Clock.h"
#include "platform/Terminal.h"

namespace Host {
namespace {

constexpr auto unattendedTime = std::chrono::seconds(1);
constexpr auto shortestTime = std::chrono::seconds(1);  // for alerts that name none

class KeyShowing final : public Showing {
public:
    KeyShowing(std::unique_ptr<Platform::KeyReader> keys, const DisplayedAlert& alert)
        : keys_(std::move(keys)),
          timeout_(std::max(alert.timeout, shortestTime)),
          actions_(std::min(alert.actions.size(), cardActions)) {}

    End wait() override {
        char32_t key = 0;
        switch (keys_->read(timeout_, key)) {
            case Platform::KeyReader::Result::timedOut:
                return {Ending::timedOut, {}};
            case Platform::KeyReader::Result::cancelled:
                return {Ending::takenDown, {}};
            case Platform::KeyReader::Result::ended:
                return {Ending::dismissed, {}};
            case Platform::KeyReader::Result::key:
                break;
        }
        if (key >= U'1' && key - U'1' < actions_)
            return {Ending::dismissed, key - U'1'};
        return {Ending::dismissed, {}};
    }
    void takeDown() override { keys_->cancel(); }

private:
    const std::unique_ptr<Platform::KeyReader> keys_;
    const std::chrono::milliseconds timeout_;
    const size_t actions_;
};

class UnattendedShowing final : public Showing {
public:
    End wait() override {
        const Platform::Clock& clock = Platform::Clock::steady();
        const auto deadline = clock.now() + unattendedTime;
        Platform::MutexLock lock(mutex_);
        while (!takenDown_ && clock.waitUntil(changed_, lock, deadline)) {
        }
        return {takenDown_ ? Ending::takenDown : Ending::dismissed, {}};
    }
    void takeDown() override {
        Platform::MutexLock lock(mutex_);
        takenDown_ = true;
        changed_.notifyAll();
    }

private:
    // Guards takenDown_. A leaf.
    Platform::Mutex mutex_;
    Platform::ConditionVariable changed_;
    bool takenDown_ GUARDED_BY(mutex_) = false;
};

}  // namespace

std::unique_ptr<Showing> TerminalDisplay::show(const DisplayedAlert& alert) {
    std::unique_ptr<Platform::KeyReader> keys;
    if (Platform::terminalIsInteractive())
        keys = Platform::KeyReader::create();
    std::vector<std::u16string> lines = alertCard(alert, Platform::terminalColumns());
    if (!keys)
        lines.emplace_back(u"  nobody is at a terminal: dismissed in a second");
    else if (alert.actions.empty())
        lines.emplace_back(u"  press a key to dismiss");
    else
        lines.emplace_back(u"  press the digit of an action, or any other key to dismiss");
    console_.lines(lines);
    if (keys)
        return std::make_unique<KeyShowing>(std::move(keys), alert);
    return std::make_unique<UnattendedShowing>();
}

}  // namespace Host
