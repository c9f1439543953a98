#include <future>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>

#include "bus/BusCallbacks.h"
#include "bus/MessageBusClient.h"
#include "bus/MessageBusLib.h"
#include "status/ModuleException.h"
#include "support/FakeBus.h"
#include "support/FakeLibrary.h"
#include "support/LogCapture.h"

namespace {

class MessageBusLibTest : public testing::Test {
protected:
    MessageBusLibTest() { table = FakeBus::functions(); }

    static void* createObject(uint32_t version) {
        EXPECT_EQ(version, 2001000u);
        return const_cast<BrevantBusFunctions*>(table);
    }
    std::shared_ptr<Tavix::SharedLibrary> library() {
        return Support::FakeLibrary::load(
            std::make_shared<Support::FakeLibrary>(
                createObject, [this](const std::u16string& what) { frees += what == u"free"; }),
            {u"MessageBus.dll", {u"C:"}});
    }
    std::string constructionFailure() {
        try {
            Tavix::MessageBusLib lib(library());
            return "";
        } catch (const Tavix::ModuleException& exception) {
            return exception.what();
        }
    }
    bool timed() const {
        return log.records().back().message.starts_with(u"M12NPerfTimer|MessageBusLib::MessageBusLib|");
    }

    FakeBus bus;
    LogCapture log;
    static inline const BrevantBusFunctions* table;
    int frees = 0;
};

TEST_F(MessageBusLibTest, HoldsAHandleOfItsOwnAndReleasesHandleThenLibrary) {
    bus.whenCalled("releaseHandle", [this] { EXPECT_EQ(frees, 0); });
    auto lib = std::make_unique<Tavix::MessageBusLib>(library());
    EXPECT_TRUE(timed());
    EXPECT_EQ(bus.handleCount(), 1u);
    lib.reset();
    EXPECT_EQ(bus.handleCount(), 0u);
    EXPECT_EQ(frees, 1);

    // Also when the handle is not released.
    bus.whenCalled("releaseHandle", nullptr);
    bus.failNext("releaseHandle", MODULE_STATUS_TIMEOUT);
    std::make_unique<Tavix::MessageBusLib>(library()).reset();
    EXPECT_TRUE(log.has(2, u"Failed to release message bus. Error code MODULE_STATUS_TIMEOUT(2147483661)."));
    EXPECT_EQ(frees, 2);
}

TEST_F(MessageBusLibTest, FailsWithoutTableHandleOrLibrary) {
    bus.failNext("acquireHandle", MODULE_STATUS_NO_MEMORY);
    EXPECT_EQ(constructionFailure(), "Failed to get message bus handle");
    EXPECT_TRUE(log.has(4,
                        u"Failed to get message bus handle. Error code: MODULE_STATUS_NO_MEMORY"
                        u"(2147483657). Throwing ModuleException."));
    EXPECT_TRUE(timed());
    table = nullptr;
    EXPECT_EQ(constructionFailure(), "Failed to get message bus functions object");
    EXPECT_TRUE(log.has(4, u"Failed to get message bus functions object. Throwing ModuleException."));
    EXPECT_EQ(frees, 2);

    // A bus that claims success without a handle.
    static BrevantBusFunctions lying = *FakeBus::functions();
    lying.acquireHandle = [](BrevantBusHandle*) { return MODULE_STATUS_SUCCESS; };
    table = &lying;
    EXPECT_EQ(constructionFailure(), "Invalid message bus handle");
    EXPECT_TRUE(log.has(4, u"Invalid message bus handle. Throwing ModuleException."));
    EXPECT_EQ(bus.callCount("releaseHandle"), 0u);
}

TEST_F(MessageBusLibTest, KeepsTheLibraryLoadedWhileACallbackMayReturnIntoIt) {
    for (const bool endsInCallback : {false, true}) {
        frees = 0;
        std::promise<void> entered, mayReturn;
        auto client = std::make_unique<Tavix::MessageBusClient>(
            std::make_shared<Tavix::MessageBusLib>(library()), nullptr);
        client->subscribe(u"N", [&](const auto&) {
            if (endsInCallback)
                client.reset();
            entered.set_value();
            mayReturn.get_future().wait();
            return MODULE_STATUS_SUCCESS;
        });
        std::thread busThread([this] { bus.deliver(u"N", u""); });
        entered.get_future().wait();
        client.reset();
        EXPECT_EQ(bus.handleCount(), 0u);
        EXPECT_EQ(frees, 0);
        mayReturn.set_value();
        busThread.join();
        Tavix::waitForBusCallbacks();
        EXPECT_EQ(frees, 1);
    }
}

}  // namespace
