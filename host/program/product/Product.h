// A product on the bus: it asks for an instance id, publishes an alert and learns what became of it.
#pragma once

#include <optional>
#include <string>

#include "host/program/connection/BusConnection.h"
#include "host/program/product/AlertFile.h"
#include "platform/Sync.h"

namespace Host {

class Product {
public:
    enum class Outcome { dismissed, suppressed, failed, unanswered, cancelled };

    // The table outlives the product. Throws HostError.
    explicit Product(const BrevantBusFunctions& functions);

    // Makes sure that the settings hold a plugin definition for that product: without one the broker gets no
    // content for its alerts. False when the settings manager does not answer.
    bool definePlugin(const std::u16string& product, const std::u16string& pluginFile);
    // An instance id from the broker; nothing when it does not answer.
    std::optional<std::u16string> instanceId();
    // Publishes the alert under that id and waits for its outcome. unanswered: the broker refused the alert,
    // or no outcome came in the time that broker and viewer have for it.
    Outcome show(const AlertFile& alert, const std::u16string& instance);
    // The message that told the last outcome.
    std::u16string outcomeMessage() const;
    // Ends show(), also one that is to come. Any thread.
    void cancel();

private:
    bool follow(const std::u16string& alert, const std::u16string& instance);
    uint32_t onStatus(const std::u16string& instance, const std::u16string& name,
                      std::optional<Outcome> outcome);

    // Guards the members below. A leaf.
    mutable Platform::Mutex mutex_;
    Platform::ConditionVariable changed_;
    std::u16string instance_ GUARDED_BY(mutex_);  // what is shown now; news of earlier ones may come late
    bool queued_ GUARDED_BY(mutex_) = false;
    std::optional<Outcome> outcome_ GUARDED_BY(mutex_);
    std::u16string outcomeMessage_ GUARDED_BY(mutex_);
    bool cancelled_ GUARDED_BY(mutex_) = false;
    BusConnection connection_;  // last: its handlers use what stands above
};

}  // namespace Host
