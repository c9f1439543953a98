#include <atomic>
#include <functional>
#include <gtest/gtest.h>
#include <optional>
#include <stdexcept>
#include <thread>

#include "alerts/plugins/AlertPluginLib.h"
#include "alerts/plugins/PluginRegistrar.h"
#include "json/JSONFormatter.h"
#include "settings/SettingsManagerClient.h"
#include "support/FakeBus.h"
#include "support/FakeLibrary.h"
#include "support/LogCapture.h"

namespace {

using Vok::AlertPluginLib;
using Vok::PluginState;

// A test's plugin and what befell it. Tables carry no context, so there is one at a time. It keeps no lock:
// its calls come one after the other.
struct Plugin {
    std::u16string calls;
    uint32_t status = MODULE_STATUS_SUCCESS;
    std::function<void()> inside;  // runs in every entry
    bool offersTable = true;
    AlertPluginApi table{};
    const char16_t *processed = u"processed", *extra = u"extra", *content = u"content";

    uint32_t enter(const std::u16string& call) {
        calls += u" " + call;
        if (inside)
            inside();
        return status;
    }
};
Plugin plugin;

constexpr AlertPluginApi table{
    [](void** instance, const char16_t* name) {
        *instance = &plugin;
        return plugin.enter(name);
    },
    [](void* instance) { return plugin.enter(instance == &plugin ? u"destroy" : u"destroy another"); },
    [](void*, const char16_t* alert, const char16_t** processed, uint32_t* suppress, const char16_t** extra) {
        *processed = plugin.processed;
        *suppress = 1;
        *extra = plugin.extra;
        return plugin.enter(alert);
    },
    [](const char16_t* processed, const char16_t* extra) {
        plugin.enter(processed == plugin.processed && extra == plugin.extra ? u"release" : u"release others");
    },
    [](void*, const char16_t*, const char16_t* viewer, const char16_t** content) {
        *content = plugin.content;
        return plugin.enter(viewer);
    },
    [](const char16_t* content) {
        plugin.enter(content == plugin.content ? u"release" : u"release another");
    },
};
void* createObject(uint32_t version) {
    plugin.enter(version == BREVANT_PLUGIN_VERSION ? u"object" : u"object of another version");
    return plugin.offersTable ? &plugin.table : nullptr;
}

const std::u16string used = u" process release content release";

class PluginsTest : public testing::Test {
protected:
    PluginsTest() {
        plugin = Plugin();
        plugin.table = table;
        bus.answer(u"SETTINGS_MANAGER_GET_PROPERTY", [this](const FakeBus::Sent& request) {
            Tavix::JSONFormatter json;
            json.parse(request.payload);  // names the property, as the answer does
            json.setBool(u"status", definition.has_value());
            json.setString(u"value", definition.value_or(u""));
            if (const auto inside = std::exchange(insideRequest, nullptr))
                inside();
            return std::optional<FakeBus::Answer>({u"Response", json.toString()});
        });
    }
    std::unique_ptr<AlertPluginLib> makeLib(const std::u16string& product) {
        return std::make_unique<AlertPluginLib>(product, nullptr, settings, [](auto library) {
            return Support::FakeLibrary::load(
                std::make_shared<Support::FakeLibrary>(
                    createObject, [](const std::u16string& what) { plugin.calls += u" " + what; }),
                std::move(library));
        });
    }
    std::unique_ptr<Vok::PluginRegistrar> makeRegistrar() {
        return std::make_unique<Vok::PluginRegistrar>(
            settings, [this](const std::u16string& product) { return makeLib(product); });
    }
    uint32_t use() {
        const uint32_t status = lib->processAlert(u"process", processed, &suppress, extra);
        EXPECT_EQ(lib->getAlertContent(u"process", u"content", content), status);
        return status;
    }
    uint32_t processFor(const std::u16string& product) {
        return registrar->processAlert(product, u"process", processed, &suppress, extra);
    }
    void tellDeleted(const std::u16string& property) {
        bus.deliver(u"SettingsManager.Notify.Delete.Brevant/Product/any",
                    u"{\"name\":\"" + property + u"\"}");
    }
    size_t invalidations(const std::u16string& product) {
        return log.count(1, u"Changing state of plugin for " + product + u" to INVALIDATED.");
    }

    FakeBus bus;
    LogCapture log;
    std::optional<std::u16string> definition = uR"({"pluginFile":"p.dll","pluginPath":"C:\\P"})";
    std::function<void()> insideRequest;
    std::shared_ptr<Tavix::SettingsManagerClient> settings =
        std::make_shared<Tavix::SettingsManagerClient>(bus.makeClient());
    std::unique_ptr<AlertPluginLib> lib = makeLib(u"P");
    std::unique_ptr<Vok::PluginRegistrar> registrar = makeRegistrar();
    std::u16string processed, extra, content;
    uint32_t suppress = 0;
};

TEST_F(PluginsTest, LoadAtFirstUseAndEndTheInstanceBeforeItsLibrary) {
    EXPECT_EQ(use(), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(processed + extra + content, u"processedextracontent");
    EXPECT_EQ(suppress, 1u);
    EXPECT_EQ(bus.requests().at(0).timeout, 5000u);
    lib.reset();
    EXPECT_EQ(plugin.calls, uR"( load:C:\P\p.dll object AlertPlugin)" + used + u" destroy free");
}

TEST_F(PluginsTest, SayWhatFailsOnceForEachCause) {
    const auto useTwice = [&] {
        for (int count = 0; count < 2; ++count) {
            lib->processAlert(u"process", processed, &suppress, extra);
            lib->getAlertContent(u"process", u"content", content);
        }
    };
    plugin.offersTable = false;
    useTwice();
    EXPECT_EQ(log.count(4, u"Alert plugin does not offer version 2000000. Product: P"), 1u);
    plugin.offersTable = true;
    plugin.table.processAlert = nullptr;
    plugin.table.releaseContent = nullptr;
    useTwice();
    EXPECT_EQ(log.count(4, u"Alert plugin has no processAlert. Product: P"), 1u);
    EXPECT_EQ(log.count(4, u"Alert plugin has no releaseContent. Product: P"), 1u);
    plugin.table = table;
    plugin.status = MODULE_STATUS_DATA_ERROR;
    useTwice();
    EXPECT_EQ(log.count(4,
                        u"Alert plugin failed in processAlert with 0x80000006, MODULE_STATUS_DATA_ERROR. "
                        u"Product: P"),
              1u);
    plugin.inside = [] { throw std::runtime_error("no licence"); };
    useTwice();
    EXPECT_EQ(log.count(4, u"Alert plugin threw in getAlertContent: no licence. Product: P"), 1u);
    // A new definition is a new plugin.
    lib->setState(PluginState::invalidated);
    useTwice();
    EXPECT_EQ(log.count(4, u"Alert plugin threw in CreateObject: no licence. Product: P"), 1u);
}

TEST_F(PluginsTest, AreReloadedAtTheNextUseWhenTheyAreNotLoaded) {
    lib->load();
    lib->setState(PluginState::invalidated);
    plugin.calls.clear();
    use();
    EXPECT_TRUE(log.has(1, u"Plugin for P is in state INVALIDATED. Attempting to reload."));
    EXPECT_EQ(plugin.calls, uR"( destroy load:C:\P\p.dll free object AlertPlugin)" + used);
    plugin.calls.clear();
    lib->load();
    EXPECT_EQ(plugin.calls, uR"( load:C:\P\p.dll destroy free object AlertPlugin)");

    lib->setState(PluginState::unloaded);
    definition.reset();
    EXPECT_EQ(use(), MODULE_STATUS_BUFFER_TOO_SMALL);
    EXPECT_EQ(log.count(4, u"Failed to verify the plugin state for product: P"), 2u);
}

TEST_F(PluginsTest, AreNotLoadedFromWhatCannotBeUsed) {
    const std::pair<std::optional<std::u16string>, uint32_t> cases[]{
        {std::nullopt, 0x80000003},
        {u"[]", 0x80000002},
        {uR"({"pluginFile":1,"pluginPath":"C:\\P"})", 0x80000002},
        {uR"({"pluginFile":"p.dll"})", 0x80000002},
        {uR"({"pluginFile":"p.dll","pluginPath":"none"})", 0x80000001}};
    for (const auto& [text, status] : cases) {
        definition = text;
        EXPECT_EQ(lib->load(), status);
    }
}

TEST_F(PluginsTest, StayUnloadedWithoutAnInstance) {
    plugin.offersTable = false;
    EXPECT_EQ(use(), MODULE_STATUS_NOT_SUPPORTED);
    plugin.offersTable = true;
    plugin.status = 7;
    EXPECT_EQ(use(), 7u);
    plugin.table.create = nullptr;
    EXPECT_EQ(use(), MODULE_STATUS_NOT_SUPPORTED);
    plugin.inside = [] { throw 1; };
    EXPECT_EQ(use(), MODULE_STATUS_UNKNOWN_EXCEPTION);
    plugin.calls.clear();
    lib.reset();
    EXPECT_EQ(plugin.calls, u" free");
}

TEST_F(PluginsTest, MayFailThrowOrHandBackNothing) {
    lib->load();
    plugin.calls.clear();
    plugin.status = 0x12345678;
    plugin.processed = plugin.content = reinterpret_cast<const char16_t*>(1);
    EXPECT_EQ(use(), 0x12345678u);
    EXPECT_EQ(suppress, 1u);
    EXPECT_EQ(plugin.calls, u" process content");

    plugin.status = MODULE_STATUS_SUCCESS;
    plugin.processed = plugin.extra = plugin.content = nullptr;
    processed = extra = content = u"before";
    EXPECT_EQ(use(), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(processed + extra + content, u"");

    plugin.inside = [] { throw std::runtime_error("plugin"); };
    EXPECT_EQ(use(), MODULE_STATUS_UNKNOWN_EXCEPTION);
    plugin.calls.clear();
    lib->unload();
    lib->setState(PluginState::loaded);  // without an instance, which a destroy that throws has ended
    EXPECT_EQ(use(), MODULE_STATUS_NOT_SUPPORTED);
    lib.reset();
    EXPECT_EQ(plugin.calls, u" destroy free");
}

TEST_F(PluginsTest, OfAProductAreRememberedOnceTheyAreLoaded) {
    plugin.offersTable = false;
    EXPECT_EQ(processFor(u"A"), MODULE_STATUS_BUFFER_TOO_SMALL);
    plugin.offersTable = true;
    EXPECT_EQ(processFor(u"A"), MODULE_STATUS_SUCCESS);
    plugin.status = 7;
    EXPECT_EQ(processFor(u"A"), 7u);
    EXPECT_EQ(processFor(u"a"), MODULE_STATUS_BUFFER_TOO_SMALL);
    EXPECT_EQ(registrar->getAlertContent(u"A", u"process", u"content", content), 7u);
    EXPECT_EQ(log.count(1, u"Changing state of plugin for A to LOADED."), 1u);
}

TEST_F(PluginsTest, AreInvalidatedWhenTheirDefinitionIsDeleted) {
    registrar->start();
    for (const char16_t* product : {u"A", u"B", u"C", u"Product"})
        processFor(product);
    for (const char16_t* property :
         {u"Brevant/Product/A", u"Brevant/Product/unknown", u"Brevant/Product", u"C"})
        tellDeleted(property);
    registrar->stop();
    tellDeleted(u"Brevant/Product/B");
    for (const char16_t* product : {u"A", u"C", u"Product"})
        EXPECT_EQ(invalidations(product), 1u);
    EXPECT_EQ(invalidations(u"B") + invalidations(u"unknown"), 0u);
}

// A bus may deliver from inside the request for a definition, or from inside what a plugin sends.
TEST_F(PluginsTest, AreInvalidatedByADeletionThatComesFromInsideACall) {
    registrar->start();
    const auto tell = [this] { tellDeleted(u"Brevant/Product/A"); };
    insideRequest = tell;
    EXPECT_EQ(processFor(u"A"), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(invalidations(u"A"), 1u);
    plugin.inside = [tell] {
        if (plugin.calls.ends_with(u" process"))
            tell();
    };
    EXPECT_EQ(processFor(u"A"), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(invalidations(u"A"), 2u);
    processFor(u"A");
    EXPECT_EQ(log.count(1, u"Changing state of plugin for A to LOADED."), 3u);
}

TEST_F(PluginsTest, AreCalledOneAtATimeWhileDeletionsArriveAndRegistrarsEnd) {
    std::atomic<bool> done{false};
    std::atomic<int> running{0}, overlaps{0};
    plugin.inside = [&] {
        overlaps += ++running > 1;
        std::this_thread::yield();
        --running;
    };
    std::thread notifier([&] {
        while (!done)
            tellDeleted(u"Brevant/Product/A");
    });
    for (int life = 0; life < 10; ++life) {
        registrar = makeRegistrar();  // the former is not stopped: its subscription stays with the settings
        registrar->start();
        std::thread other([&] { registrar->getAlertContent(u"B", u"process", u"content", content); });
        for (int i = 0; i < 20; ++i)
            processFor(u"A");
        other.join();
    }
    done = true;
    notifier.join();
    registrar.reset();
    EXPECT_EQ(overlaps, 0);
}

}  // namespace
