#include "host/program/viewer/TerminalDisplay.h"

#include <algorithm>

#include "host/program/viewer/AlertCard.h"
#include "platform/Clock.h"
#include "platform/Terminal.h"

namespace Host {
namespace {

constexpr auto shortestTime = std::chrono::seconds(1);  // for alerts that name none
constexpr auto tick = std::chrono::milliseconds(1000);

class CardShowing final : public Showing {
public:
    CardShowing(Console& console, std::unique_ptr<Platform::KeyReader> keys, const DisplayedAlert& alert)
        : console_(console),
          keys_(std::move(keys)),
          card_(alert),
          drawn_(Platform::terminalTakesEscapes()),
          deadline_(Platform::deadlineAfter(clock_.now(), std::max(alert.timeout, shortestTime))) {
        redraw(true);
    }
    ~CardShowing() override { console_.leaveScreen(); }

    End wait() override {
        for (;;) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline_ - clock_.now());
            if (left.count() <= 0)
                return {Ending::timedOut};
            char32_t key = 0;
            // The clock on the card moves when its second is over.
            switch (keys_->read(std::min(left, left % tick + std::chrono::milliseconds(1)), key)) {
                case Platform::KeyReader::Result::cancelled:
                case Platform::KeyReader::Result::ended:
                    return {Ending::takenDown};
                case Platform::KeyReader::Result::suspending:
                    console_.leaveScreen();
                    keys_->suspend();
                    continue;
                case Platform::KeyReader::Result::changed:
                    redraw(true);
                    continue;
                case Platform::KeyReader::Result::timedOut:
                    break;
                case Platform::KeyReader::Result::key:
                    if (const std::optional<End> end = card_.press(key))
                        return *end;
                    break;
            }
            redraw(false);
        }
    }
    void takeDown() override { keys_->cancel(); }

private:
    void redraw(bool takesScreen) {
        if (!drawn_)
            return;
        if (takesScreen)
            console_.takeScreen();
        const auto left = deadline_ - clock_.now() + std::chrono::milliseconds(999);
        console_.draw(
            card_.draw(Platform::terminalSize(), std::chrono::duration_cast<std::chrono::seconds>(left)));
    }

    Console& console_;
    const std::unique_ptr<Platform::KeyReader> keys_;
    AlertCard card_;
    const bool drawn_;
    const Platform::Clock& clock_ = Platform::Clock::steady();
    const Platform::Clock::Time deadline_;
};

}  // namespace

std::unique_ptr<Showing> TerminalDisplay::show(const DisplayedAlert& alert) {
    auto keys = Platform::terminalIsInteractive() ? Platform::KeyReader::create() : nullptr;
    if (!keys) {
        console_.error(u"the terminal is another's now: the alert is not shown");
        return nullptr;
    }
    // It stays behind in what the terminal has printed.
    console_.lines(alertCard(alert, Platform::terminalSize().columns));
    return std::make_unique<CardShowing>(console_, std::move(keys), alert);
}

}  // namespace Host
