// A mutex whose holders are known.
#pragma once

#include "platform/Sync.h"
#include "platform/Thread.h"

namespace Vok {

// For locks that are held while the bus is asked for something. A bus may deliver a message from inside
// publish or request, on the thread that waits there. When that thread holds such a lock, handling the
// message at once would wait for itself: a handler that takes these locks asks first and has another thread
// handle the message. Not recursive; taken by MarkedLock alone.
class CAPABILITY("mutex") MarkedMutex {
public:
    MarkedMutex() noexcept = default;
    MarkedMutex(const MarkedMutex&) = delete;
    MarkedMutex& operator=(const MarkedMutex&) = delete;

    // Whether the calling thread holds one, whichever.
    static bool isHeldByCurrentThread() noexcept;

private:
    friend class MarkedLock;
    Platform::Mutex mutex_;
};

// Stays on the thread that made it.
class SCOPED_CAPABILITY MarkedLock {
public:
    explicit MarkedLock(MarkedMutex& mutex) ACQUIRE(mutex);
    ~MarkedLock() RELEASE();
    MarkedLock(const MarkedLock&) = delete;
    MarkedLock& operator=(const MarkedLock&) = delete;

    void unlock() RELEASE();
    void lock() ACQUIRE();

private:
    Platform::MutexLock lock_;
    Platform::ThreadList::Mark mark_;
    bool held_ = true;
};

}  // namespace Vok
