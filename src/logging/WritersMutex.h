#pragma once

#include <chrono>
#include <memory>
#include <utility>

#include "platform/NamedMutex.h"

namespace ETWLogging::internal {

// The mutex that the writers of a log share, those of other processes too. A writer waits for it for
// longestWait and then goes on without. After one wait in vain nobody waits until it has been had again, so
// that whoever holds on to it costs the log one wait, not one for each record. Not for concurrent use.
class WritersMutex {
public:
    static constexpr std::chrono::milliseconds longestWait{7000};

    // Null when the system refused the mutex.
    explicit WritersMutex(std::unique_ptr<Platform::NamedMutex> mutex) noexcept : mutex_(std::move(mutex)) {}

    class Turn {
    public:
        explicit Turn(WritersMutex& writers) : writers_(writers), held_(writers.acquire()) {}
        ~Turn() {
            if (held_ && writers_.mutex_)
                writers_.mutex_->release();
        }
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;

        // False when another writer may be at work. Without a mutex nobody can tell.
        bool isHeld() const noexcept { return held_; }

    private:
        WritersMutex& writers_;
        const bool held_;
    };

private:
    bool acquire() {
        const auto wait = patient_ ? longestWait : std::chrono::milliseconds::zero();
        patient_ = !mutex_ || mutex_->acquire(wait);
        return patient_;
    }

    const std::unique_ptr<Platform::NamedMutex> mutex_;
    bool patient_ = true;  // no wait has been in vain since the mutex was had last
};

}  // namespace ETWLogging::internal
