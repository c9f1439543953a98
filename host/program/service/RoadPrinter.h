// Prints the name of each message of an alert's road as it passes.
#pragma once

#include <deque>
#include <string>
#include <string_view>

#include "host/program/connection/BusConnection.h"
#include "host/program/output/Console.h"
#include "platform/Sync.h"

namespace Host {

// Messages of several senders arrive in no order of their own; an answer is held back for a while until what
// it answers has been printed.
//
// Listens to the alert topics and to those of one viewer. It does not listen to the topics of other viewers:
// a listener would count as a subscriber, and a request to a viewer that is gone would wait in vain.
class RoadPrinter {
public:
    // Table and console outlive the printer. Throws HostError.
    RoadPrinter(const BrevantBusFunctions& functions, Console& console, const std::u16string& viewerId);
    ~RoadPrinter() { connection_.close(); }

    // Prints the name of a message, unless it hears of it itself. Any thread.
    void printOther(const std::u16string& name);
    // Waits until a message has been printed of that name or, when it begins with a dot, of one that ends so;
    // false when it was not in time.
    bool waitFor(const std::u16string& name, std::chrono::milliseconds timeout);

private:
    uint32_t onMessage(const ReceivedMessage& message);
    std::u16string causeOf(const std::u16string& name) const;
    void print(const std::u16string& name);
    bool hasPrinted(std::u16string_view name) const REQUIRES(mutex_);

    static constexpr size_t mostRemembered = 256;

    Console& console_;
    const std::u16string viewerTopic_;  // what the names of all its messages begin with
    const std::u16string viewerShow_;
    // Guards printed_. A leaf.
    mutable Platform::Mutex mutex_;
    Platform::ConditionVariable changed_;
    std::deque<std::u16string> printed_ GUARDED_BY(mutex_);  // the last names
    BusConnection connection_;                               // last: its handlers use what stands above
};

}  // namespace Host
