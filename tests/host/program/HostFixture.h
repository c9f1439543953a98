// A bus of its own within the test program, with a stranger on it, and a machine folder of the test's own.
#pragma once

#include <condition_variable>
#include <functional>
#include <gtest/gtest.h>
#include <mutex>

#include "AlertDisplay.h"
#include "BusConnection.h"
#include "SettingsStore.h"
#include "host/bus/BusFunctions.h"
#include "support/PlatformFolder.h"

namespace Host {

// Lets a test wait for what happens on the bus's threads.
class Recorder {
public:
    BusConnection::Handler handler() {
        return [this](const BusMessage& message) {
            std::lock_guard lock(mutex_);
            messages_.push_back(message);
            arrived_.notify_all();
            return MODULE_STATUS_SUCCESS;
        };
    }
    // The first count messages; fewer when they do not come in time.
    std::vector<BusMessage> take(size_t count) {
        std::unique_lock lock(mutex_);
        arrived_.wait_for(lock, std::chrono::seconds(20), [&] { return messages_.size() >= count; });
        return messages_;
    }

private:
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::vector<BusMessage> messages_;
};

// A display whose user does what the test says.
class FakeDisplay final : public AlertDisplay {
public:
    std::unique_ptr<Showing> show(const DisplayedAlert& alert) override {
        if (beforeShowing)
            beforeShowing();
        std::lock_guard lock(mutex_);
        shown_.push_back(alert);
        changed_.notify_all();
        return std::make_unique<Fake>(*this);
    }
    void end(Showing::End end) {
        std::lock_guard lock(mutex_);
        ends_.push_back(end);
        changed_.notify_all();
    }
    void dismissEverything() {
        std::lock_guard lock(mutex_);
        dismisses_ = true;
        changed_.notify_all();
    }
    std::vector<DisplayedAlert> waitForShown(size_t count) {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, std::chrono::seconds(20), [&] { return shown_.size() >= count; });
        return shown_;
    }

    std::function<void()> beforeShowing;

private:
    struct Fake final : Showing {
        explicit Fake(FakeDisplay& display) : owner(display) {}
        End wait() override {
            std::unique_lock lock(owner.mutex_);
            owner.changed_.wait(lock, [&] { return takenDown || owner.dismisses_ || !owner.ends_.empty(); });
            if (takenDown)
                return {Ending::takenDown, {}};
            if (owner.dismisses_)
                return {Ending::dismissed, {}};
            const End end = owner.ends_.front();
            owner.ends_.erase(owner.ends_.begin());
            return end;
        }
        void takeDown() override {
            std::lock_guard lock(owner.mutex_);
            takenDown = true;
            owner.changed_.notify_all();
        }
        FakeDisplay& owner;
        bool takenDown = false;
    };

    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<DisplayedAlert> shown_;
    std::vector<Showing::End> ends_;
    bool dismisses_ = false;
};

class HostTest : public testing::Test {
protected:
    static const BrevantBusFunctions& bus() { return EmbeddedBus::busFunctions(); }
    std::u16string inFolder(const std::u16string& name) const { return folder.portable() + u"\\" + name; }

    Support::PlatformFolder folder;
};

}  // namespace Host
