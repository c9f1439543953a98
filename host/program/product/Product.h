// A product on the bus: it asks for instance ids, publishes alerts and learns what becomes of them.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/program/connection/BusConnection.h"
#include "host/program/product/AlertFile.h"
#include "host/program/viewer/DisplayedAlert.h"
#include "platform/Clock.h"
#include "platform/Sync.h"

namespace Host {

struct AlertOutcome {
    // lost: with its user's session or with its host. unknown: the broker refused it or nothing came of it.
    enum class Kind { chosen, dismissed, timedOut, suppressed, failed, withdrawn, lost, unknown };
    Kind kind = Kind::unknown;
    std::u16string why = {};               // empty: the kind says all
    std::u16string action = {};            // what was chosen, as the user read it
    DisplayedAlert::Message message = {};  // what the viewer published for it
    bool wasShown = false;
};

class Product {
public:
    // The table outlives the product. Throws HostError.
    explicit Product(const BrevantBusFunctions& functions);
    ~Product() { connection_.close(); }

    // Has the host's example plugin serve that product if it has no plugin: without one the broker gets no
    // content for its alerts. Whether it has one now.
    bool ensurePlugin(const std::u16string& product);
    // An instance id from the broker; nothing when it does not answer.
    std::optional<std::u16string> instanceId();
    // Publishes the alert under that id and follows it. Alerts count from 0.
    void publish(const AlertFile& alert, const std::u16string& instance);

    struct Step {
        enum class Kind {
            queued,     // the broker has taken the alert
            ended,      // its outcome is known
            idle,       // nothing in that time
            over,       // all alerts have ended
            cancelled,  // by cancel()
        };
        Kind kind = Kind::idle;
        size_t alert = 0;
        AlertOutcome outcome = {};
    };
    // The next thing that happens to an alert, as it happens; waits at most that time for it. One thread.
    Step next(std::chrono::milliseconds most);
    // Ends the alert, unless it has ended, with an outcome that nobody has heard of.
    void giveUp(size_t alert, const std::u16string& why);
    // Ends what has not ended as lost.
    void loseAll(const std::u16string& why);
    // Ends next(), also one that is to come. Any thread.
    void cancel();

private:
    enum class Word { queued, suppressed, shown, dismissed, failed, deleted };
    struct Followed {
        uint32_t session = 0;
        DisplayedAlert display;
        bool isQueued = false, queuedTold = false, endTold = false;
        Platform::Clock::Time shownAt{};  // 0: not yet
        std::optional<AlertOutcome> outcome;
        Platform::Clock::Time settled{};  // until then the outcome may still turn out to be another
    };

    bool follow(size_t index, const std::u16string& name, Word word);
    void onWord(size_t index, Word word);
    void onAnswer(size_t index, const BusAnswer& answer);
    void onChoice(const ReceivedMessage& message);
    void onLogoff(const ReceivedMessage& message);
    void end(Followed& followed, AlertOutcome outcome, std::chrono::milliseconds settling = {})
        REQUIRES(mutex_);
    static std::optional<AlertOutcome> chosenBy(const Followed& followed, const ReceivedMessage& message);

    // Guards the members below. A leaf.
    Platform::Mutex mutex_;
    Platform::ConditionVariable changed_;
    std::vector<Followed> followed_ GUARDED_BY(mutex_);
    bool cancelled_ GUARDED_BY(mutex_) = false;
    std::vector<std::u16string> choices_;  // names that are subscribed to; of the owner's thread
    BusConnection connection_;             // last: its handlers use what stands above
};

}  // namespace Host
