// A bus of its own within the test program, with a stranger on it, and a machine folder of the test's own.
#pragma once

#include <deque>
#include <functional>
#include <gtest/gtest.h>

#include "host/bus/BusFunctions.h"
#include "host/program/connection/BusConnection.h"
#include "host/program/settings/SettingsStore.h"
#include "host/program/viewer/AlertDisplay.h"
#include "support/BusPeer.h"
#include "support/PlatformFolder.h"

namespace Host {

// A display whose user does what the test says.
class FakeDisplay final : public AlertDisplay, Support::Monitor {
public:
    std::unique_ptr<Showing> show(const DisplayedAlert& alert) override {
        if (beforeShowing)
            beforeShowing();
        locked([&] { shown_.push_back(alert); });
        return std::make_unique<Fake>(*this);
    }
    void end(Showing::End end) {
        locked([&] { ends_.push_back(end); });
    }
    std::vector<DisplayedAlert> waitForShown(size_t count) const {
        comes([&] { return shown_.size() >= count; });
        return locked([&] { return shown_; });
    }

    std::function<void()> beforeShowing;

private:
    struct Fake final : Showing {
        explicit Fake(FakeDisplay& display) : owner(display) {}
        End wait() override {
            End end{Ending::takenDown, {}};
            owner.await([&] {
                if (takenDown || owner.ends_.empty())
                    return takenDown;
                end = owner.ends_.front();
                owner.ends_.pop_front();
                return true;
            });
            return end;
        }
        void takeDown() override {
            owner.locked([&] { takenDown = true; });
        }
        FakeDisplay& owner;
        bool takenDown = false;
    };

    std::vector<DisplayedAlert> shown_;
    std::deque<Showing::End> ends_;
};

class HostTest : public testing::Test {
protected:
    static const BrevantBusFunctions& bus() { return MessageBus::busFunctions(); }
    // What matches on that bus.
    struct Recorder : Support::MessageLog {
        explicit Recorder(const std::u16string& pattern) : MessageLog({pattern}, &bus()) {}
    };
    std::u16string inFolder(const std::u16string& name) const { return folder.portable() + u"\\" + name; }

    Support::PlatformFolder folder;
};

}  // namespace Host
