#include <optional>

#include <brevant/library.h>

#include "host/bus/BusFixture.h"
#include "support/Beside.h"
#include "support/ProcessCounts.h"

namespace {

// The bus library, loaded and freed as a host does it.
class BusLibrary {
public:
    BusLibrary() {
        if (!library_)
            return;
        const auto create = library_.function<BrevantCreateObject>(BREVANT_EXPORT_CREATE_OBJECT);
        EXPECT_EQ(create(BREVANT_BUS_VERSION - 1), nullptr);
        functions_ = static_cast<const BrevantBusFunctions*>(create(BREVANT_BUS_VERSION));
    }
    const BrevantBusFunctions* functions() const { return functions_; }

private:
    const Support::LoadedLibrary library_{beside(u"MessageBus.dll")};
    const BrevantBusFunctions* functions_ = nullptr;
};

void exchangeMessages(const BrevantBusFunctions* functions) {
    Support::BusPeer answerer(functions), requester(functions);
    answerer.onPattern(u"Ask\\..*", [&](const Support::BusMessage& message) {
        return answerer.reply(message, message.name + u".Response");
    });
    Support::BusMessage reply;
    EXPECT_EQ(requester.request(u"Ask.1", u"", reply), MODULE_STATUS_SUCCESS);
}

// The library throws and catches an exception on this thread, out of its regular-expression engine.
void refuseAPattern(const BrevantBusFunctions* functions) {
    Support::BusPeer peer(functions);
    EXPECT_THROW(peer.onPattern(u"(a|", nullptr), std::runtime_error);
}

TEST(Library, CanBeLoadedAndFreedAgainAndAgain) {
    std::optional<Support::ProcessCounts> before;
    for (int round = 0; round < 20; ++round) {
        {
            const BusLibrary library;
            ASSERT_NE(library.functions(), nullptr);
            exchangeMessages(library.functions());
            refuseAPattern(library.functions());
        }
        Support::BusPeer::forgetEnded();
        if (!before)
            before = Support::ProcessCounts::now();
    }
    EXPECT_TRUE(Support::ProcessCounts::comesDownTo(*before))
        << *before << ", then " << Support::ProcessCounts::now();
}

const BrevantBusFunctions* openAtExit = nullptr;
BrevantBusHandle handleAtExit = nullptr;

// A module that is alive when the process exits uses its handle until the end.
TEST(Library, WorksWhileTheProcessEndsWithAHandleOpen) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto end = [] {
        // Runs after the static destructors of the library, which is loaded later.
        std::atexit([] {
            const uint32_t id = openAtExit->subscribe(
                handleAtExit, nullptr, [](auto...) -> uint32_t { return MODULE_STATUS_SUCCESS; }, u"Late");
            const uint32_t released = openAtExit->releaseHandle(handleAtExit);
            std::_Exit(id != 0 && released == MODULE_STATUS_SUCCESS ? 0 : 1);
        });
        const BusLibrary library;
        openAtExit = library.functions();
        openAtExit->acquireHandle(&handleAtExit);
        std::exit(2);
    };
    EXPECT_EXIT(end(), testing::ExitedWithCode(0), "");
}

TEST(Library, OutlivesACallbackThatReleasesTheLastHandle) {
    const auto before = Support::ProcessCounts::now();
    std::optional<BusLibrary> library(std::in_place);
    ASSERT_NE(library->functions(), nullptr);
    struct Last {
        const BrevantBusFunctions* functions;
        BrevantBusHandle handle = nullptr;
        Gate released{};
    } last{library->functions()};
    const auto release = [](void* context, const MessageHeader*, const char16_t*, const char16_t*,
                            const char16_t*) {
        auto& self = *static_cast<Last*>(context);
        EXPECT_EQ(self.functions->releaseHandle(self.handle), MODULE_STATUS_SUCCESS);
        self.released.pass();
        return MODULE_STATUS_SUCCESS;
    };
    const MessageHeader header = plainHeader();
    ASSERT_EQ(last.functions->acquireHandle(&last.handle), MODULE_STATUS_SUCCESS);
    EXPECT_NE(last.functions->subscribe(last.handle, &last, release, u"Release"), 0u);
    EXPECT_EQ(last.functions->publish(last.handle, &header, u"Release", u"", u""), MODULE_STATUS_SUCCESS);
    ASSERT_TRUE(last.released.waitForArrivals(1));
    library.reset();  // the callback has not returned yet
    last.released.open();
    EXPECT_TRUE(eventually([&] { return Support::ProcessCounts::now().threads <= before.threads; }));

    library.emplace();
    exchangeMessages(library->functions());
    library.reset();
    EXPECT_TRUE(eventually([&] { return Support::ProcessCounts::now().threads <= before.threads; }));
}

}  // namespace
