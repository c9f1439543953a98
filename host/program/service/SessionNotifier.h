// Tells the bus which user sessions come, go and take the console.
#pragma once

#include <functional>
#include <map>
#include <vector>

#include "host/program/connection/BusConnection.h"
#include "platform/Sync.h"
#include "platform/Thread.h"
#include "platform/UserSessions.h"

namespace Host {

// Looks at the machine's sessions once a second. A session that appears is a Logon, one that becomes active a
// Console.Connect, one that is gone a Logoff, each with {"sessionId":n}. Those that exist at the start are
// not announced; while the sessions cannot be listed nothing is.
class SessionNotifier {
public:
    using Lister = std::function<bool(std::vector<Platform::UserSession>&)>;
    using Publisher = std::function<void(const std::u16string& name, const std::u16string& payload)>;

    // The lister and the publisher outlive the notifier and are called on its thread.
    SessionNotifier(Lister lister, Publisher publisher);
    ~SessionNotifier();

    // Looks once. Called by the notifier's own thread; a test may call it while none runs.
    void look();
    // Starts looking on a thread of its own.
    void start();

private:
    void watch();

    const Lister lister_;
    const Publisher publisher_;
    bool known_ = false;  // whether a first look succeeded
    std::map<uint32_t, Platform::UserSessionState> sessions_;

    // Guards stopping_. A leaf.
    Platform::Mutex mutex_;
    Platform::ConditionVariable stopped_;
    bool stopping_ GUARDED_BY(mutex_) = false;
    Platform::Thread thread_;
};

}  // namespace Host
