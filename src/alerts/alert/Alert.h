// One alert, from the accepted show request to its outcome.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "alerts/description/AlertInfo.h"
#include "platform/Clock.h"

namespace Tavix {
class MessageBusClient;
}

namespace Vok {

class AlertViewer;

// Always held by shared pointer. Its outcome is a "Dismissed" or "Failed" message on the bus, whoever
// published it.
//
//                  | new             | started                | outcome known | closed: a wait has ended
//   show           | asks the viewer | true                   | true          | true
//   waitForOutcome | false           | waits, closes          | true          | waits, for nothing
//   dismiss        | false           | asks the viewer, waits | true          | asks the viewer, waits
//
// A closed alert whose outcome is known answers as one whose outcome is known. show without a viewer fails
// and leaves the alert new.
//
// setViewer and setContent are for the thread that holds the alert alone; the queue hands it from one to the
// next. show, waitForOutcome, dismiss and isStarted may run on different threads once those have been called.
class Alert {
public:
    // How long a viewer may take from confirming a dismissal to publishing the outcome.
    static constexpr std::chrono::seconds dismissalGrace{30};
    // Alerts that offer more choices than this are never duplicates.
    static constexpr size_t maximumDuplicateActions = 4;  // compat

    // An empty bus client is replaced by one of its own, whose constructor throws ModuleException. A context
    // that does not parse is kept as far as it was read. The clock must outlive the alert.
    explicit Alert(AlertInfo info, std::shared_ptr<Tavix::MessageBusClient> busClient = nullptr,
                   const Platform::Clock& clock = Platform::Clock::wall());
    // Leaves its subscription to the end of its bus client. An outcome callback that is still running is
    // harmless.
    virtual ~Alert();
    Alert(const Alert&) = delete;
    Alert& operator=(const Alert&) = delete;

    // Whether this alert is the more urgent one; equal priorities do not precede each other.
    virtual bool precedes(const Alert& other) const;
    // Whether both display the same texts: title, contents and the texts of their actions, in order.
    virtual bool isDuplicateOf(const Alert& other) const;

    virtual const AlertInfo& getInfo() const;
    virtual void setContent(std::u16string content);
    virtual const std::u16string& getContent() const;
    virtual void setViewer(std::shared_ptr<AlertViewer> viewer);
    virtual const std::shared_ptr<AlertViewer>& getViewer() const;

    // Subscribes to the outcome and asks the viewer, once; blocks for as long as the viewer takes to answer.
    // False when there is no viewer or it refused; a refused alert counts as started.
    virtual bool show();
    // Whether the outcome has arrived when the wait ends, at the latest that many seconds from now on the
    // wall clock; zero or less does not wait. Ends the subscription: what arrives later is not noticed. An
    // outcome known beforehand is answered at once.
    virtual bool waitForOutcome(int64_t seconds);
    // Asks the viewer to take the alert down and waits for the outcome for the grace time. False when the
    // viewer refused or no outcome came.
    virtual bool dismiss();
    virtual bool isStarted() const;

    // Equal for duplicates, so that a queue can look an alert's duplicates up instead of comparing it with
    // each.
    size_t duplicateHash() const noexcept { return duplicateKey_.hash; }
    // False when no alert can be a duplicate of this one.
    bool canBeDuplicate() const noexcept { return duplicateKey_.actions <= maximumDuplicateActions; }

private:
    struct Outcome;

    // Constant once shown.
    AlertInfo info_;
    std::shared_ptr<AlertViewer> viewer_;

    // Constant once built.
    const DuplicateKey duplicateKey_;
    const Platform::Clock& clock_;
    // Shared with the callback, which owns nothing else: it may run after the alert is gone.
    const std::shared_ptr<Outcome> outcome_;
    const std::shared_ptr<Tavix::MessageBusClient> busClient_;

    std::atomic<bool> started_{false};
};

}  // namespace Vok
