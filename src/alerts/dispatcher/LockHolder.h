// Which threads may hold a lock of the sessions.
#pragma once

#include "platform/Thread.h"

namespace Vok {

// A bus may deliver a message from inside publish or request, on the thread that waits there. When that
// thread holds a lock of the sessions, handling the message at once would wait for itself: a handler that
// takes those locks asks first and has another thread handle the message.
class LockHolder {
public:
    // Marks the calling thread for the object's lifetime, which ends on the same thread. Marks nest.
    LockHolder() noexcept;
    ~LockHolder();
    LockHolder(const LockHolder&) = delete;
    LockHolder& operator=(const LockHolder&) = delete;

    static bool isCurrentThread() noexcept;

private:
    Platform::ThreadList::Mark mark_;
};

}  // namespace Vok
