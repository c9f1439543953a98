// A viewer on the bus: it registers itself, answers show and delete requests and reports outcomes.
#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>

#include "host/program/connection/BusConnection.h"
#include "host/program/viewer/AlertDisplay.h"
#include "platform/Sync.h"
#include "platform/Thread.h"

namespace Host {

// Shows one alert at a time, in the order of the requests, on a thread of its own. A show request is answered
// "Shown" when the alert is on display. When the user is done the viewer publishes the messages of the choice
// and "Dismissed"; when the alert's time is over, its timeout messages and "Dismissed". A delete request
// takes the alert down and is answered "Dismissed". A show request that cannot be served is answered
// "Failed", so that the broker need not wait. A question for a sign of life is answered (HostMessages.h).
class ConsoleViewer {
public:
    static constexpr const char16_t* usualId = u"console";

    // Who wants to know; called on the viewer's thread.
    struct Observer {
        std::function<void(const std::u16string& name)> published;  // a message of a choice
        // deleted: by the broker, not by what the display says.
        std::function<void(const DisplayedAlert&, const Showing::End&, bool deleted)> ended;
    };

    // Table and display outlive the viewer. Throws HostError.
    ConsoleViewer(const BrevantBusFunctions& functions, AlertDisplay& display, std::u16string id = usualId,
                  Observer observer = {});
    ~ConsoleViewer() { close(); }
    ConsoleViewer(const ConsoleViewer&) = delete;
    ConsoleViewer& operator=(const ConsoleViewer&) = delete;

    // Tells the settings manager that this viewer exists, until close(). False when it does not agree. May be
    // called again, when the settings manager has forgotten.
    bool registerViewer();
    // Takes down what is shown and what waits: there is nobody to report to.
    void clear();
    const std::u16string& id() const noexcept { return id_; }
    // Withdraws the viewer; the alert on display and those that wait for it end as "Failed". Idempotent.
    void close();

private:
    struct Item {
        ReceivedMessage request;
        std::u16string instance;
        DisplayedAlert alert;
    };
    static constexpr size_t mostWaiting = 64;
    static constexpr size_t mostRemembered = 64;

    uint32_t onShow(const ReceivedMessage& request);
    uint32_t onDelete(const ReceivedMessage& request);
    void run();
    void present(const Item& item);
    void publishAll(const std::vector<DisplayedAlert::Message>& messages);
    void remember(const Item& item) REQUIRES(mutex_);

    AlertDisplay& display_;
    const std::u16string id_;
    const Observer observer_;
    bool registered_ = false;

    // Guards the members below. Nothing is published and no display is called under it, but for takeDown,
    // which only wakes.
    Platform::Mutex mutex_;
    Platform::ConditionVariable changed_;
    bool closing_ GUARDED_BY(mutex_) = false;
    std::deque<Item> waiting_ GUARDED_BY(mutex_);
    std::u16string shownInstance_ GUARDED_BY(mutex_);  // from its turn on; showing_ follows
    Showing* showing_ GUARDED_BY(mutex_) = nullptr;
    bool deleted_ GUARDED_BY(mutex_) = false;  // a delete request takes down what is shown
    // Alert ids of the last instances: a delete request names the instance alone.
    std::map<std::u16string, std::u16string> ids_ GUARDED_BY(mutex_);
    std::deque<std::u16string> remembered_ GUARDED_BY(mutex_);

    Platform::Thread thread_;
    BusConnection connection_;  // last: its handlers use what stands above
};

}  // namespace Host
