#include <functional>
#include <gtest/gtest.h>
#include <new>

#include "bus/MessageBusClient.h"
#include "bus/MessageBusShimImpl.h"
#include "logging/LoggingIdentity.h"
#include "module/BaseModule.h"
#include "module/ModuleFunctions.h"
#include "module/ModuleHandle.h"
#include "support/FakeBus.h"
#include "support/LogCapture.h"

namespace Support {
namespace {

constexpr uint32_t initialized = 0x10, started = 0x11, stopped = 0x12, uninitialized = 0x13;

struct PlainModule : Tavix::Module {
    uint32_t initialize() override { return result(initialized); }
    uint32_t start() override { return result(started); }
    uint32_t stop() override { return result(stopped); }
    uint32_t uninitialize() override { return result(uninitialized); }
    uint32_t result(uint32_t status) const { return throws ? throw std::bad_alloc() : status; }

    bool throws = false;
};

struct RecordingModule : Tavix::BaseModule {
    using BaseModule::publish;
    uint32_t initialize() override {
        ++initializations;
        return subscribe(u"Topic", [this](const std::shared_ptr<Tavix::Message>& message) {
            received = message;
            return MODULE_STATUS_UNSUCCESSFUL;
        });
    }
    uint32_t baseInitialize(const std::u16string& name, const std::u16string& identifier,
                            const Tavix::ModuleProperties& given,
                            std::shared_ptr<Tavix::internal::ModuleManagerShim> itsManager,
                            std::shared_ptr<Tavix::MessageBus> bus) override {
        manager = losesManager ? nullptr : itsManager;
        return BaseModule::baseInitialize(name, identifier, given, manager, losesBus ? nullptr : bus);
    }

    bool losesManager = false, losesBus = false;
    int initializations = 0;
    std::shared_ptr<Tavix::internal::ModuleManagerShim> manager;
    std::shared_ptr<Tavix::Message> received;
};

class ModuleFunctionsTest : public testing::Test {
protected:
    ~ModuleFunctionsTest() override {
        EXPECT_EQ(table.DestroyModule(recorder), MODULE_STATUS_SUCCESS);
        EXPECT_EQ(bus.subscriptionCount(), 0u);
    }
    static ModuleHandle* handleOf(Tavix::Module* module) {
        return new ModuleHandle{[](Tavix::Module* owned) { delete owned; }, module};
    }
    uint32_t initializeOver(ModuleHandle* handle, BrevantBusHandle busHandle) {
        return table.InitializeModuleV2(handle, u"Name", u"Identifier", 0, nullptr, nullptr, nullptr, nullptr,
                                        busHandle, bus.functions());
    }

    const BrevantModuleFunctions& table = Tavix::moduleFunctions;
    FakeBus bus;
    LogCapture log;
    RecordingModule* const module = new RecordingModule;
    ModuleHandle* const recorder = handleOf(module);
    const std::pair<const char16_t*, std::function<uint32_t(ModuleHandle*)>> entries[6] = {
        {u"InitializeModule",
         [&](auto* h) { return table.InitializeModule(h, u"", u"", 0, nullptr, nullptr, nullptr, nullptr); }},
        {u"InitializeModuleV2", [&](auto* h) { return initializeOver(h, bus.handle()); }},
        {u"StartModule", table.StartModule},
        {u"StopModule", table.StopModule},
        {u"UninitializeModule", table.UninitializeModule},
        {u"DirectMessage",
         [&](auto* h) { return table.DirectMessage(h, nullptr, nullptr, nullptr, nullptr); }},
    };
};

TEST_F(ModuleFunctionsTest, RefuseAHandleThatIsNullOrWithoutAModule) {
    const auto expectRefused = [&](const char16_t* function, uint32_t status, const char16_t* reason) {
        EXPECT_EQ(status, MODULE_STATUS_INVALID_PARAMETER);
        EXPECT_TRUE(log.has(4, reason));
        EXPECT_EQ(log.records().back().function, function);
        log.clear();
    };
    ModuleHandle* empty = handleOf(nullptr);
    for (const auto& [name, call] : entries) {
        expectRefused(name, call(nullptr), u"Invalid handle.");
        expectRefused(name, call(empty), u"Invalid handle.");
    }
    expectRefused(u"DestroyModule", table.DestroyModule(nullptr), u"Invalid handle.");
    EXPECT_EQ(table.DestroyModule(empty), MODULE_STATUS_SUCCESS);
    expectRefused(u"NewModule", table.NewModule(nullptr, u"group"), u"Invalid handle address.");
}

TEST_F(ModuleFunctionsTest, ForwardToTheModuleAndLetNoExceptionOut) {
    auto* plain = new PlainModule;
    ModuleHandle* handle = handleOf(plain);
    // A module that is no base module takes neither a bus nor messages.
    const uint32_t results[] = {initialized, initialized, started, stopped, uninitialized, 0};
    for (const bool throws : {false, true}) {
        plain->throws = throws;
        for (size_t i = 0; i < std::size(entries); ++i)
            EXPECT_EQ(entries[i].second(handle),
                      throws && results[i] ? MODULE_STATUS_UNKNOWN_EXCEPTION : results[i]);
    }
    EXPECT_EQ(table.DestroyModule(handle), MODULE_STATUS_SUCCESS);
    EXPECT_TRUE(log.records().empty());
}

TEST_F(ModuleFunctionsTest, NewModuleSetsTheLogGroupWhenOneIsGiven) {
    const std::pair<const char16_t*, const char16_t*> cases[] = {
        {u"first", u"first"}, {u"second", u"second"}, {nullptr, u"second"}, {u"", u"second"}};
    for (const auto& [given, group] : cases) {
        ModuleHandle* handle = nullptr;
        EXPECT_EQ(table.NewModule(&handle, given), MODULE_STATUS_SUCCESS);
        EXPECT_EQ(table.DestroyModule(handle), MODULE_STATUS_SUCCESS);
        EXPECT_EQ(ETWLogging::loggingIdentity().group, group);
    }
}

uint32_t hostFunction(void* context, void* argument, uint32_t reserved) {
    EXPECT_EQ(reserved, 0u);
    return *static_cast<uint32_t*>(context) + *static_cast<uint32_t*>(argument);
}

TEST_F(ModuleFunctionsTest, HandWhatTheHostGivesToTheModule) {
    const char16_t* keys[] = {u"a", u"b", u"a", nullptr};
    const char16_t* values[] = {u"first", nullptr, u"second", u"of the empty key"};
    uint32_t context = 40, argument = 2;
    const auto initializeWith = [&](const char16_t** k, const char16_t** v) {
        return table.InitializeModuleV2(recorder, nullptr, u"Identifier", 4, k, v, &context, hostFunction,
                                        bus.handle(), bus.functions());
    };
    EXPECT_EQ(initializeWith(keys, nullptr), MODULE_STATUS_INVALID_PARAMETER);
    EXPECT_EQ(initializeWith(nullptr, values), MODULE_STATUS_INVALID_PARAMETER);
    EXPECT_EQ(initializeWith(keys, values), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(module->moduleName(), u"");
    EXPECT_EQ(module->moduleIdentifier(), u"Identifier");
    EXPECT_EQ(module->properties(),
              (Tavix::ModuleProperties{{u"a", u"first"}, {u"b", u""}, {u"", u"of the empty key"}}));
    EXPECT_EQ(module->manager->call(&argument), 42u);
    const auto registered = [&] { return module->container()->resolve<Tavix::MessageBus>(); };
    const auto firstBus = registered();
    EXPECT_NE(firstBus, nullptr);
    EXPECT_EQ(module->container()->resolve<Tavix::MessageBus>(u"other"), nullptr);

    EXPECT_EQ(initializeOver(recorder, bus.handle()), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(module->moduleName(), u"Name");
    EXPECT_TRUE(module->properties().empty());
    EXPECT_EQ(module->manager->call(&argument), MODULE_STATUS_NOT_SUPPORTED);
    EXPECT_NE(registered(), firstBus);
    EXPECT_EQ(module->initializations, 2);

    MessageHeader header{};
    header.version = 1;
    header.totalSize = 100;
    EXPECT_EQ(table.DirectMessage(recorder, &header, u"Topic", u"me", u"text"), MODULE_STATUS_SUCCESS);
    ASSERT_NE(module->received, nullptr);
    EXPECT_EQ(module->received->sender() + module->received->payload(), u"metext");
    // The header is packed: its fields are copied before they are bound to a reference.
    EXPECT_EQ(+module->received->header()->totalSize, 108u);
}

TEST_F(ModuleFunctionsTest, ABusThatIsReplacedWhileSomeonePublishesEndsOnTheLifecycleThread) {
    struct SlowClient : Tavix::MessageBusClient {
        SlowClient(FakeBus& bus, std::function<void()> whilePublishing, int& ended)
            : MessageBusClient(std::make_shared<Tavix::MessageBusShimImpl>(bus.handle(), bus.functions()),
                               nullptr),
              whilePublishing_(std::move(whilePublishing)),
              ended_(ended) {}
        ~SlowClient() override { ++ended_; }
        uint32_t publish(const std::shared_ptr<Tavix::Message>&) override {
            whilePublishing_();
            return MODULE_STATUS_SUCCESS;
        }
        const std::function<void()> whilePublishing_;
        int& ended_;
    };
    const auto bindTo = [&](std::shared_ptr<Tavix::MessageBus> its) {
        return module->baseInitialize(
            u"", u"", {}, std::make_shared<Tavix::internal::ModuleManagerShim>(nullptr, nullptr), its);
    };
    int ended = 0;
    const auto replace = [&] {
        EXPECT_EQ(initializeOver(recorder, bus.handle()), MODULE_STATUS_SUCCESS);
        EXPECT_EQ(bus.subscriptionCount(), 1u) << "only the new one's";
        EXPECT_EQ(ended, 0);
    };
    EXPECT_EQ(bindTo(std::make_shared<SlowClient>(bus, replace, ended)), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(module->initialize(), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(module->publish(nullptr), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(ended, 0) << "on whichever thread the publisher is";
    initializeOver(recorder, bus.handle());
    EXPECT_EQ(ended, 1);
}

TEST_F(ModuleFunctionsTest, ReportABaseThatCannotBeInitialisedAndThatHasNoBus) {
    EXPECT_EQ(initializeOver(recorder, nullptr), MODULE_STATUS_UNKNOWN_EXCEPTION);
    const auto expectFailure = [&](size_t entry, const char16_t* reason, const char16_t* function) {
        EXPECT_EQ(entries[entry].second(recorder), MODULE_STATUS_INVALID_PARAMETER);
        EXPECT_TRUE(log.has(4, reason));
        EXPECT_EQ(log.records().back().message, u"Failed to initialize base module. Error code 2147483656.");
        EXPECT_EQ(log.records().back().function, function);
    };
    module->losesBus = true;
    expectFailure(0, u"Invalid message bus object passed to base initialize.",
                  u"InitializeModule::<lambda_567a2fd9a9bf1416732cf3aaf10fa79b>::operator ()");
    module->losesManager = true;
    expectFailure(1, u"Invalid module manager object passed to base initialize.",
                  u"InitializeModuleV2::<lambda_2dcfad368efacf21c1f4d353aa5da521>::operator ()");
    EXPECT_EQ(module->initializations, 0);
    EXPECT_EQ(module->publish(Tavix::makeMessage(u"Name", u"", u"")), MODULE_STATUS_INVALID_STATE);
    EXPECT_EQ(entries[5].second(recorder), MODULE_STATUS_INVALID_STATE);
    EXPECT_TRUE(log.has(4, u"Failed to process direct message. Invalid message bus client."));
}

}  // namespace
}  // namespace Support
