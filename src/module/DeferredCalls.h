// Calls that may not be made on the thread that asks for them.
#pragma once

#include <deque>
#include <functional>

#include "platform/Sync.h"
#include "platform/Thread.h"

namespace Vok {

// Runs them one after the other on a thread of its own, which is started for the first.
//
//            | open                           | ended
//   add      | takes the call, unless full    | refuses
//   end      | drops what waits, joins        | nothing
class DeferredCalls {
public:
    // Whoever could make this many wait has gone wild; more are refused.
    static constexpr size_t limit = 10000;

    DeferredCalls() = default;
    ~DeferredCalls() { end(); }
    DeferredCalls(const DeferredCalls&) = delete;
    DeferredCalls& operator=(const DeferredCalls&) = delete;

    // False when the call was refused. What a call throws is lost. Throws std::system_error when there is no
    // thread.
    bool add(std::function<void()> call);
    // Waits for the call that is running. Not from within a call, and by one thread.
    void end();

private:
    void run();

    Platform::Mutex mutex_;  // leaf: calls run outside it
    Platform::ConditionVariable changed_;
    std::deque<std::function<void()>> calls_ GUARDED_BY(mutex_);
    bool ended_ GUARDED_BY(mutex_) = false;
    Platform::Thread thread_ GUARDED_BY(mutex_);
};

}  // namespace Vok
