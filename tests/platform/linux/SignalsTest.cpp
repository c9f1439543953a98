#include <csignal>
#include <future>
#include <gtest/gtest.h>
#include <unistd.h>

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

TEST(SignalsDeathTest, TakeTheClosingOfTheTerminalUnlessItIsIgnored) {
    const auto hangUp = [] {
        constexpr int calledThough = 3;
        std::signal(SIGHUP, SIG_IGN);
        {
            const Platform::Signals signals([] { _exit(calledThough); });
            raise(SIGHUP);
        }
        std::signal(SIGHUP, SIG_DFL);
        const Platform::Signals signals([] {
            raise(SIGHUP);  // once more, which is not to end the process
            _exit(0);
        });
        raise(SIGHUP);
        while (true)
            pause();
    };
    EXPECT_EXIT(hangUp(), testing::ExitedWithCode(0), "");
}

}  // namespace
