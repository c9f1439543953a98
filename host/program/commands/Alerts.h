// What show and host have in common: alerts from files, their outcomes in words, and the ending of a host.
#pragma once

#include <optional>

#include "host/program/commands/Command.h"
#include "host/program/connection/HostClient.h"
#include "host/program/product/Product.h"
#include "host/program/service/Host.h"
#include "host/program/viewer/AnswerDisplay.h"
#include "host/program/viewer/ConsoleViewer.h"

namespace Host {

// Nothing when one makes no sense; the console says which.
std::optional<std::vector<AlertFile>> readAlerts(const std::vector<std::u16string>& files, Console& console);

// Alerts on their way, and what is told of them.
class PublishedAlerts {
public:
    // All outlive it.
    PublishedAlerts(const BrevantBusFunctions& functions, const std::vector<AlertFile>& alerts,
                    HostClient& host, Console& console);

    // Publishes all of them. False when the broker hands out no instance id.
    bool publish();
    // Tells what has happened to them, waiting at most that time for something to happen. What it was.
    Product::Step::Kind advance(std::chrono::milliseconds most);
    // The same until all have ended, or are queued, or the request is raised.
    void follow(bool untilQueued, StopRequest& stop);
    // Whether there are some whose outcome is not known.
    bool hasOpen() const;
    // The highest of all outcomes so far.
    int exitCode() const noexcept { return exitCode_; }

    // Told of each outcome before it is printed.
    std::function<void(const std::u16string& instance, const AlertFile&, const AlertOutcome&)> beforeOutcome;

private:
    void tell(size_t index, AlertOutcome outcome);
    // Gives up what the host no longer holds although nothing of its end has come.
    void giveUpForgotten(const HostStatus& status);
    std::u16string reasonFor(size_t index, const AlertOutcome& outcome);

    const std::vector<AlertFile>& alerts_;
    std::vector<std::u16string> instances_;
    std::vector<bool> queued_, ended_;
    std::vector<int> missing_;  // how often in a row the host did not have it
    HostClient& host_;
    Console& console_;
    Product product_;
    int exitCode_ = exitDone;
};

// The viewer that belongs to a host in this process: the user's, or one that answers by itself. Null without
// either.
std::unique_ptr<AlertDisplay> answeringDisplay(const std::optional<FixedAnswer>& answer, Console& console);
// Registers the viewer and waits until the broker knows it: an alert that came before would be suppressed.
void introduce(ConsoleViewer& viewer, const BrevantBusFunctions& functions, Console& console);

// Takes down what is on screen, if anything may be, and stops the host. What has not ended in that time is
// told of in one line, and the process is left as it is. Viewer may be null.
void endHost(Host& host, ConsoleViewer* viewer, bool takesDown, std::chrono::seconds grace,
             CommandContext& context);

}  // namespace Host
