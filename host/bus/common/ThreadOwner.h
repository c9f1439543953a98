// What has threads of its own that must be gone before the library is.
#pragma once

namespace MessageBus {

class ThreadOwner {
public:
    virtual ~ThreadOwner() = default;
    // Has the threads end. Returns at once.
    virtual void beginStop() = 0;
    // Not on one of the threads.
    virtual void join() = 0;
    // Whether join would return without waiting for anything that others do.
    virtual bool ended() = 0;
    virtual bool isOwnThread() const noexcept = 0;
};

}  // namespace MessageBus
