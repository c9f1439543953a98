#include <csignal>
#include <future>
#include <gtest/gtest.h>

#include "platform/Signals.h"

namespace {

TEST(SignalsDeathTest, CallBackOnceAndLetASecondRequestOfEitherKindEndTheProcess) {
    const auto twice = [] {
        std::promise<void> called;
        const Platform::Signals signals([&] { called.set_value(); });
        raise(SIGINT);
        called.get_future().wait();
        raise(SIGTERM);
    };
    EXPECT_EXIT(twice(), testing::KilledBySignal(SIGTERM), "");
}

}  // namespace
