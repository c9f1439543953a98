// Takes the registration away from viewers whose process is gone.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/program/connection/BusConnection.h"
#include "host/program/settings/SettingsStore.h"
#include "platform/Clock.h"
#include "platform/Sync.h"
#include "platform/Thread.h"

namespace Host {

// A process that dies cannot delete its property. Those viewers whose property says so (HostMessages.h) are
// asked for a sign of life every 1.5 s; one to whom nobody answers twice in a row is unregistered, as
// by itself. A viewer that is there and slow stays, and nobody is unregistered while the host does not even
// hear itself on the bus.
class Presence {
public:
    // Store and connection outlive it.
    Presence(const SettingsStore& store, BusConnection& connection);
    ~Presence();

    // Starts asking on a thread of its own.
    void start();
    // When a viewer last gave a sign of life; nothing when it has not, or is not asked.
    std::optional<Platform::Clock::Time> lastSign(const std::u16string& viewer) const;

    struct Registered {
        std::u16string id;
        bool isAsked = false;
    };
    static std::vector<Registered> registered(const SettingsStore& store);

private:
    void run();
    void ask();

    const SettingsStore& store_;
    BusConnection& connection_;
    std::map<std::u16string, unsigned> silent_;  // how often in a row; of the thread

    // Guards the members below. A leaf.
    mutable Platform::Mutex mutex_;
    Platform::ConditionVariable stopped_;
    bool stopping_ GUARDED_BY(mutex_) = false;
    std::map<std::u16string, Platform::Clock::Time> signs_ GUARDED_BY(mutex_);
    Platform::Thread thread_;
};

}  // namespace Host
