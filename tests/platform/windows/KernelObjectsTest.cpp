#include <gtest/gtest.h>
#include <thread>

#include "platform/NamedMutex.h"
#include "platform/Registry.h"
#include "platform/Thread.h"
#include "platform/TraceProvider.h"
#include "support/ProcessCounts.h"

using namespace Platform;
using namespace std::chrono_literals;

namespace {

TEST(KernelObjects, AMutexWhoseOwnerDiedIsAcquired) {
    const auto mutex = NamedMutex::create(u"Global\\Corvane.abandoned");
    ASSERT_TRUE(mutex);
    std::thread([&] { EXPECT_TRUE(mutex->acquire(0ms)); }).join();
    EXPECT_TRUE(mutex->acquire(0ms));
    mutex->release();
}

TEST(KernelObjects, AreAllClosedByTheirOwners) {
    const auto live = [] {
        const auto watch = RegistryWatch::create(u"SOFTWARE\\CORVANE\\No\\Such\\Key");
        Thread waiting([&] { EXPECT_FALSE(watch->wait()); });
        const auto provider = TraceProvider::create({1, 2, 3, {}}, {1, 2, 4, {}}, nullptr);
        EXPECT_TRUE(provider);
        const auto mutex = NamedMutex::create(u"Corvane.life");
        watch->cancel();
        waiting.join();
    };
    live();
    const auto before = Support::ProcessCounts::now();
    for (int life = 0; life < 50; ++life)
        live();
    EXPECT_TRUE(Support::ProcessCounts::comesDownTo(before))
        << before << ", then " << Support::ProcessCounts::now();
}

}  // namespace
