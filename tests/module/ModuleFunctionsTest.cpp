#include <gtest/gtest.h>
#include <stdexcept>

#include "bus/MessageBusClient.h"
#include "module/BaseModule.h"
#include "module/ModuleFunctions.h"
#include "module/ModuleHandle.h"
#include "support/FakeBus.h"
#include "support/LogCapture.h"

namespace Support {
namespace {

constexpr uint32_t initialized = 0x10, started = 0x11, stopped = 0x12, uninitialized = 0x13;

class PlainModule : public Tavix::Module {
public:
    uint32_t initialize() override { return initialized; }
    uint32_t start() override { return started; }
    uint32_t stop() override { return stopped; }
    uint32_t uninitialize() override { return uninitialized; }
};

class ThrowingModule : public Tavix::Module {
public:
    uint32_t initialize() override { throw std::runtime_error("initialize"); }
    uint32_t start() override { throw 1; }
    uint32_t stop() override { throw std::bad_alloc(); }
    uint32_t uninitialize() override { throw std::runtime_error("uninitialize"); }
};

class RecordingModule : public Tavix::BaseModule {
public:
    uint32_t initialize() override {
        calls += u"initialize ";
        return subscribe(u"Topic", [this](const std::shared_ptr<Tavix::Message>& message) {
            received = message;
            return MODULE_STATUS_UNSUCCESSFUL;
        });
    }
    uint32_t baseInitialize(const std::u16string& name, const std::u16string& identifier,
                            const Tavix::ModuleProperties& given,
                            std::shared_ptr<Tavix::internal::ModuleManagerShim> manager,
                            std::shared_ptr<Tavix::MessageBus> bus) override {
        calls += u"baseInitialize ";
        moduleManager = manager;
        return fails ? MODULE_STATUS_DATA_ERROR
                     : BaseModule::baseInitialize(name, identifier, given, manager, bus);
    }

    bool fails = false;
    std::u16string calls;
    std::shared_ptr<Tavix::internal::ModuleManagerShim> moduleManager;
    std::shared_ptr<Tavix::Message> received;
};

class ModuleFunctionsTest : public testing::Test {
protected:
    static ModuleHandle* handleOf(Tavix::Module* module) {
        return new ModuleHandle{[](Tavix::Module* owned) { delete owned; }, module};
    }
    uint32_t initializeV2(ModuleHandle* handle) {
        return table.InitializeModuleV2(handle, u"Name", u"Identifier", 0, nullptr, nullptr, nullptr, nullptr,
                                        bus.handle(), bus.functions());
    }

    const BrevantModuleFunctions& table = Tavix::moduleFunctions;
    FakeBus bus;
    LogCapture log;
};

TEST_F(ModuleFunctionsTest, RefuseAHandleThatIsNullOrWithoutAModule) {
    ModuleHandle* empty = handleOf(nullptr);
    std::vector<std::u16string> expected;
    const auto refused = [&](const char16_t* function, uint32_t status) {
        EXPECT_EQ(status, MODULE_STATUS_INVALID_PARAMETER);
        expected.emplace_back(function);
    };
    for (ModuleHandle* handle : {static_cast<ModuleHandle*>(nullptr), empty}) {
        refused(u"InitializeModule",
                table.InitializeModule(handle, nullptr, nullptr, 1, nullptr, nullptr, nullptr, nullptr));
        refused(u"StartModule", table.StartModule(handle));
        refused(u"StopModule", table.StopModule(handle));
        refused(u"UninitializeModule", table.UninitializeModule(handle));
        refused(u"DirectMessage", table.DirectMessage(handle, nullptr, nullptr, nullptr, nullptr));
        refused(u"InitializeModuleV2", initializeV2(handle));
    }
    refused(u"DestroyModule", table.DestroyModule(nullptr));
    const auto records = log.records();
    ASSERT_EQ(records.size(), expected.size());
    for (size_t i = 0; i < records.size(); ++i) {
        EXPECT_EQ(records[i].level, 4u);
        EXPECT_EQ(records[i].message, u"Invalid handle.");
        EXPECT_EQ(records[i].function, expected[i]);
    }
    EXPECT_EQ(table.DestroyModule(empty), MODULE_STATUS_SUCCESS);

    EXPECT_EQ(table.NewModule(nullptr, u"group"), MODULE_STATUS_INVALID_PARAMETER);
    EXPECT_EQ(log.records().back().message, u"Invalid handle address.");
    EXPECT_EQ(log.records().back().function, u"NewModule");
}

TEST_F(ModuleFunctionsTest, ForwardToTheModuleAndLetNoExceptionOut) {
    ModuleHandle* plain = handleOf(new PlainModule);
    // A module that is no base module takes neither a bus nor messages.
    EXPECT_EQ(table.InitializeModuleV2(plain, nullptr, nullptr, 1, nullptr, nullptr, nullptr, nullptr,
                                       nullptr, nullptr),
              initialized);
    EXPECT_EQ(table.StartModule(plain), started);
    EXPECT_EQ(table.DirectMessage(plain, nullptr, u"Topic", nullptr, nullptr), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(table.StopModule(plain), stopped);
    EXPECT_EQ(table.UninitializeModule(plain), uninitialized);
    EXPECT_EQ(table.DestroyModule(plain), MODULE_STATUS_SUCCESS);

    ModuleHandle* throwing = handleOf(new ThrowingModule);
    EXPECT_EQ(initializeV2(throwing), MODULE_STATUS_UNKNOWN_EXCEPTION);
    EXPECT_EQ(table.StartModule(throwing), MODULE_STATUS_UNKNOWN_EXCEPTION);
    EXPECT_EQ(table.StopModule(throwing), MODULE_STATUS_UNKNOWN_EXCEPTION);
    EXPECT_EQ(table.UninitializeModule(throwing), MODULE_STATUS_UNKNOWN_EXCEPTION);
    EXPECT_TRUE(log.records().empty());
    EXPECT_EQ(table.DestroyModule(throwing), MODULE_STATUS_SUCCESS);
}

uint32_t hostFunction(void* context, void* argument, uint32_t reserved) {
    EXPECT_EQ(reserved, 0u);
    return *static_cast<uint32_t*>(context) + *static_cast<uint32_t*>(argument);
}

TEST_F(ModuleFunctionsTest, HandTheHostsTextsPropertiesAndModuleManagerToTheModule) {
    auto* module = new RecordingModule;
    ModuleHandle* handle = handleOf(module);
    const char16_t* keys[] = {u"a", u"b", u"a", nullptr};
    const char16_t* values[] = {u"first", nullptr, u"second", u"of the empty key"};
    uint32_t context = 40, argument = 2;
    EXPECT_EQ(table.InitializeModuleV2(handle, nullptr, u"Identifier", 4, keys, values, &context,
                                       hostFunction, bus.handle(), bus.functions()),
              MODULE_STATUS_SUCCESS);
    EXPECT_EQ(module->calls, u"baseInitialize initialize ");
    EXPECT_EQ(module->moduleName(), u"");
    EXPECT_EQ(module->moduleIdentifier(), u"Identifier");
    EXPECT_EQ(module->properties(),
              (Tavix::ModuleProperties{{u"a", u"first"}, {u"b", u""}, {u"", u"of the empty key"}}));
    EXPECT_EQ(module->moduleManager->call(&argument), 42u);
    EXPECT_NE(module->container()->resolve<Tavix::MessageBus>(), nullptr);

    for (const auto& [k, v] : {std::pair(keys, static_cast<const char16_t**>(nullptr)),
                               std::pair(static_cast<const char16_t**>(nullptr), values)})
        EXPECT_EQ(table.InitializeModuleV2(handle, u"", u"", 1, k, v, nullptr, nullptr, bus.handle(),
                                           bus.functions()),
                  MODULE_STATUS_INVALID_PARAMETER);
    EXPECT_EQ(initializeV2(handle), MODULE_STATUS_SUCCESS);
    EXPECT_TRUE(module->properties().empty());
    EXPECT_EQ(module->moduleManager->call(&argument), MODULE_STATUS_NOT_SUPPORTED);
    EXPECT_EQ(table.DestroyModule(handle), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(bus.subscriptionCount(), 0u);
}

TEST_F(ModuleFunctionsTest, ReportABaseThatCannotBeInitialised) {
    auto* module = new RecordingModule;
    ModuleHandle* handle = handleOf(module);
    EXPECT_EQ(table.InitializeModuleV2(handle, u"", u"", 0, nullptr, nullptr, nullptr, nullptr, nullptr,
                                       bus.functions()),
              MODULE_STATUS_UNKNOWN_EXCEPTION);
    EXPECT_EQ(table.InitializeModuleV2(handle, u"", u"", 0, nullptr, nullptr, nullptr, nullptr, bus.handle(),
                                       nullptr),
              MODULE_STATUS_UNKNOWN_EXCEPTION);
    EXPECT_EQ(module->calls, u"");
    module->fails = true;
    EXPECT_EQ(initializeV2(handle), MODULE_STATUS_DATA_ERROR);
    EXPECT_EQ(module->calls, u"baseInitialize ");
    EXPECT_EQ(log.records().back().message, u"Failed to initialize base module. Error code 2147483654.");
    EXPECT_EQ(log.records().back().function,
              u"InitializeModuleV2::<lambda_2dcfad368efacf21c1f4d353aa5da521>::operator ()");
    EXPECT_EQ(table.DestroyModule(handle), MODULE_STATUS_SUCCESS);
}

TEST_F(ModuleFunctionsTest, DeliverADirectMessageToItsSubscriptionOnTheCallingThread) {
    auto* module = new RecordingModule;
    ModuleHandle* handle = handleOf(module);
    EXPECT_EQ(table.DirectMessage(handle, nullptr, u"Topic", nullptr, nullptr), MODULE_STATUS_INVALID_STATE);
    EXPECT_TRUE(log.has(4, u"Failed to process direct message. Invalid message bus client."));

    EXPECT_EQ(initializeV2(handle), MODULE_STATUS_SUCCESS);
    MessageHeader header{};
    header.version = 1;
    header.totalSize = 100;
    header.requestCookie = 7;
    EXPECT_EQ(table.DirectMessage(handle, &header, u"Topic", u"me", u"payload"), MODULE_STATUS_SUCCESS);
    ASSERT_NE(module->received, nullptr);
    EXPECT_EQ(module->received->sender(), u"me");
    EXPECT_EQ(module->received->payload(), u"payload");
    // The header is packed: its fields are copied before they are bound to a reference.
    const MessageHeader& received = *module->received->header();
    EXPECT_EQ(+received.version, BREVANT_MESSAGE_VERSION);
    EXPECT_EQ(+received.totalSize, 108u);
    EXPECT_EQ(+received.requestCookie, 7u);
    module->received = nullptr;
    EXPECT_EQ(table.DirectMessage(handle, nullptr, u"Topi", nullptr, nullptr), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(table.DirectMessage(handle, nullptr, nullptr, nullptr, nullptr), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(module->received, nullptr);
    EXPECT_EQ(table.DestroyModule(handle), MODULE_STATUS_SUCCESS);
}

TEST(BaseModuleTest, IsBoundOnlyToAModuleManagerAndABus) {
    FakeBus bus;
    LogCapture log;
    auto container = std::make_shared<Ferrow::IOCContainer>();
    class Bare : public Tavix::BaseModule {
    public:
        using BaseModule::BaseModule;
        using BaseModule::publish;
    };
    Bare module(container);
    EXPECT_EQ(module.baseInitialize(u"Name", u"", {}, nullptr, bus.makeClient()),
              MODULE_STATUS_INVALID_PARAMETER);
    EXPECT_TRUE(log.has(4, u"Invalid module manager object passed to base initialize."));
    EXPECT_EQ(module.moduleName(), u"Name");
    const auto manager = std::make_shared<Tavix::internal::ModuleManagerShim>(nullptr, nullptr);
    EXPECT_EQ(module.baseInitialize(u"", u"", {}, manager, nullptr), MODULE_STATUS_INVALID_PARAMETER);
    EXPECT_TRUE(log.has(4, u"Invalid message bus object passed to base initialize."));
    const auto message = Tavix::makeMessage(u"Name", u"", u"");
    EXPECT_EQ(module.publish(message), MODULE_STATUS_INVALID_STATE);
    EXPECT_EQ(container->resolve<Tavix::MessageBus>(), nullptr);

    for (int i = 0; i < 2; ++i) {
        const std::shared_ptr<Tavix::MessageBus> client = bus.makeClient();
        EXPECT_EQ(module.baseInitialize(u"", u"", {}, manager, client), MODULE_STATUS_SUCCESS);
        EXPECT_EQ(container->resolve<Tavix::MessageBus>(), client);
    }
    EXPECT_EQ(container->resolve<Tavix::MessageBus>(u"Unnamed registration"),
              container->resolve<Tavix::MessageBus>());
    EXPECT_EQ(container->resolve<Tavix::MessageBus>(u"other"), nullptr);
    EXPECT_EQ(container->resolve<Tavix::Module>(), nullptr);
    EXPECT_EQ(module.publish(message), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(bus.published().size(), 1u);
}

}  // namespace
}  // namespace Support
