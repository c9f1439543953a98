#include <filesystem>
#include <functional>
#include <optional>

#include <brevant/library.h>

#include "BusFixture.h"
#include "platform/DynamicLibrary.h"
#include "platform/Files.h"
#include "platform/Process.h"
#include "support/ProcessCounts.h"

namespace {

// The bus library, loaded and freed as a host does it.
class BusLibrary {
public:
    BusLibrary() {
        const std::filesystem::path program(Platform::nativePath(Platform::executablePath()));
        const auto file = program.parent_path() / "MessageBus.dll";
        library_ = Platform::loadLibrary(Platform::portablePath(file.string()));
        if (!library_)
            return;
        const auto create = reinterpret_cast<BrevantCreateObject>(entry(BREVANT_EXPORT_CREATE_OBJECT));
        EXPECT_EQ(create(BREVANT_BUS_VERSION - 1), nullptr);
        functions_ = static_cast<const BrevantBusFunctions*>(create(BREVANT_BUS_VERSION));
    }
    ~BusLibrary() {
        if (library_)
            Platform::freeLibrary(library_);
    }
    void* entry(const char* name) const { return Platform::libraryFunction(library_, name); }
    const BrevantBusFunctions* functions() const { return functions_; }

private:
    Platform::LibraryHandle library_ = nullptr;
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

TEST(Library, TellsItsVersion) {
    const BusLibrary library;
    if (!library.functions())
        GTEST_SKIP() << "the library is not trusted here";
    EXPECT_EQ(reinterpret_cast<BrevantGetVersionNum>(library.entry(BREVANT_EXPORT_GET_VERSION_NUM))(),
              2001000u);
    EXPECT_STREQ(reinterpret_cast<BrevantGetVersionStr>(library.entry(BREVANT_EXPORT_GET_VERSION_STR))(),
                 "2.1.0");
}

TEST(Library, CanBeLoadedAndFreedAgainAndAgain) {
    std::optional<Support::ProcessCounts> before;
    for (int round = 0; round < 20; ++round) {
        {
            const BusLibrary library;
            if (!library.functions())
                GTEST_SKIP() << "the library is not trusted here";
            exchangeMessages(library.functions());
        }
        if (!before)
            before = Support::ProcessCounts::now();
    }
    EXPECT_TRUE(Support::ProcessCounts::comesDownTo(*before));
}

struct LastHandle {
    explicit LastHandle(const BrevantBusFunctions* table) : functions(table) {}

    const BrevantBusFunctions* const functions;
    BrevantBusHandle handle = nullptr;
    Gate released;

    static uint32_t release(void* context, const MessageHeader*, const char16_t*, const char16_t*,
                            const char16_t*) {
        auto& self = *static_cast<LastHandle*>(context);
        EXPECT_EQ(self.functions->releaseHandle(self.handle), MODULE_STATUS_SUCCESS);
        self.released.pass();
        return MODULE_STATUS_SUCCESS;
    }
    void publishToRelease() {
        const MessageHeader header = plainHeader();
        EXPECT_EQ(functions->acquireHandle(&handle), MODULE_STATUS_SUCCESS);
        EXPECT_NE(functions->subscribe(handle, this, release, u"Release"), 0u);
        EXPECT_EQ(functions->publish(handle, &header, u"Release", u"", u""), MODULE_STATUS_SUCCESS);
        EXPECT_TRUE(released.waitForArrivals(1));
    }
};

TEST(Library, OutlivesACallbackThatReleasesTheLastHandle) {
    const auto before = Support::ProcessCounts::now();
    std::optional<BusLibrary> library(std::in_place);
    if (!library->functions())
        GTEST_SKIP() << "the library is not trusted here";
    LastHandle last(library->functions());
    last.publishToRelease();
    library.reset();  // the callback has not returned yet
    last.released.open();
    EXPECT_TRUE(eventually([&] { return Support::ProcessCounts::now().threads <= before.threads; }));

    library.emplace();
    exchangeMessages(library->functions());
    library.reset();
    EXPECT_TRUE(eventually([&] { return Support::ProcessCounts::now().threads <= before.threads; }));
}

TEST(Bus, ReleasedFromOutsideWaitsForThreadsThatACallbackReleasedBefore) {
    LastHandle last(bus);
    last.publishToRelease();
    std::atomic<bool> returned{false};
    std::thread outside([&] {
        { RawHandle handle; }
        returned = true;
    });
    EXPECT_FALSE(returned);
    last.released.open();
    outside.join();
    EXPECT_TRUE(returned);
}

}  // namespace
