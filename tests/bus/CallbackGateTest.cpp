#include <atomic>
#include <future>
#include <gtest/gtest.h>
#include <memory>
#include <thread>

#include "bus/CallbackGate.h"

namespace {

using Tavix::CallbackGate;

TEST(CallbackGateTest, TurnsCallbacksAwayOnceClosedAlsoByOneOfItsOwn) {
    const auto gate = std::make_shared<CallbackGate>();
    int calls = 0;
    const Tavix::MessageCallback callback = Tavix::gated(gate, [&](const std::shared_ptr<Tavix::Message>&) {
        const CallbackGate::Pass again(*gate);
        gate->close();
        ++calls;
        return MODULE_STATUS_DATA_ERROR;
    });
    EXPECT_EQ(callback(nullptr), MODULE_STATUS_DATA_ERROR);
    gate->close();
    EXPECT_EQ(callback(nullptr), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(calls, 1);
}

TEST(CallbackGateTest, ClosingWaitsForThoseInside) {
    const auto gate = std::make_shared<CallbackGate>();
    std::promise<void> entered, mayLeave;
    std::atomic<bool> left{false};
    std::thread inside([&] {
        const CallbackGate::Pass pass(*gate);
        entered.set_value();
        mayLeave.get_future().wait();
        left = true;
    });
    entered.get_future().wait();
    std::thread closer([&] {
        gate->close();
        EXPECT_TRUE(left);
    });
    // The closer is at work once newcomers are turned away.
    while (CallbackGate::Pass(*gate))
        std::this_thread::yield();
    EXPECT_FALSE(left);
    mayLeave.set_value();
    inside.join();
    closer.join();
}

}  // namespace
