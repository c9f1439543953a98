// Keeps an owner alive while bus callbacks use it, and turns late ones away.
#pragma once

#include <memory>
#include <utility>

#include "bus/MessageBus.h"
#include "platform/Sync.h"
#include "platform/Thread.h"

namespace Tavix {

// An owner holds a gate by shared pointer and closes it first thing in its destructor; its callbacks hold the
// gate too and enter it before they touch the owner. Closing waits for those inside, except for the calling
// thread's own.
//
//              | open                     | closed
//   enter      | lets in                  | turns away
//   close      | closes, waits till empty | waits till empty
class CallbackGate {
public:
    class Pass {
    public:
        explicit Pass(CallbackGate& gate) : gate_(gate.enter(mark_) ? &gate : nullptr) {}
        ~Pass() {
            if (gate_)
                gate_->leave(mark_);
        }
        Pass(const Pass&) = delete;
        Pass& operator=(const Pass&) = delete;
        explicit operator bool() const noexcept { return gate_ != nullptr; }

    private:
        Platform::ThreadList::Mark mark_;
        CallbackGate* const gate_;
    };

    void close();

private:
    bool enter(Platform::ThreadList::Mark& mark);
    void leave(Platform::ThreadList::Mark& mark);

    Platform::Mutex mutex_;  // leaf
    Platform::ConditionVariable empty_;
    bool closed_ GUARDED_BY(mutex_) = false;
    Platform::ThreadList inside_ GUARDED_BY(mutex_);
};

// A message callback that returns success without a call once the gate is closed.
template <class Function>
MessageCallback gated(std::shared_ptr<CallbackGate> gate, Function function) {
    return [gate = std::move(gate), function = std::move(function)](const std::shared_ptr<Message>& message) {
        CallbackGate::Pass pass(*gate);
        return pass ? function(message) : MODULE_STATUS_SUCCESS;
    };
}

}  // namespace Tavix
