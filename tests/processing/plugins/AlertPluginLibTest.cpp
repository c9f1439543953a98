#include <exception>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <brevant/status.h>

#include "json/JSONFormatter.h"
#include "library/SharedLibrary.h"
#include "processing/plugins/AlertPluginLib.h"
#include "settings/SettingsManagerClient.h"
#include "support/FakeBus.h"
#include "support/LogCapture.h"

namespace {

// The plugin of a test. Its table has no context but the instance, so there is one at a time.
struct Plugin {
    std::vector<std::string> calls;
    uint32_t status = MODULE_STATUS_SUCCESS;
    bool throws = false;
    bool offersTable = true;
    const char16_t* processedText = u"processed";
    const char16_t* extraText = u"extra";
    const char16_t* contentText = u"content";
    std::vector<const char16_t*> released;
    std::u16string lastInput;
};
Plugin plugin;

// One entry's doing: noted, then as the test wants it.
uint32_t enter(const char* entry) {
    plugin.calls.emplace_back(entry);
    if (plugin.throws)
        throw std::runtime_error(entry);
    return plugin.status;
}

uint32_t create(void** instance, const char16_t* name) {
    *instance = &plugin;
    plugin.lastInput = name;
    return enter("create");
}
uint32_t destroy(void* instance) {
    EXPECT_EQ(instance, &plugin);
    return enter("destroy");
}
uint32_t processAlert(void* instance, const char16_t* alertText, const char16_t** processedText,
                      uint32_t* suppress, const char16_t** extraText) {
    EXPECT_EQ(instance, &plugin);
    plugin.lastInput = alertText;
    *processedText = plugin.processedText;
    *suppress = 1;
    *extraText = plugin.extraText;
    return enter("processAlert");
}
void releaseProcessed(const char16_t* processedText, const char16_t* extraText) {
    plugin.released = {processedText, extraText};
    enter("releaseProcessed");
}
uint32_t getAlertContent(void*, const char16_t* alertText, const char16_t* viewerId,
                         const char16_t** contentText) {
    plugin.lastInput = std::u16string(alertText) + u"/" + viewerId;
    *contentText = plugin.contentText;
    return enter("getAlertContent");
}
void releaseContent(const char16_t* contentText) {
    plugin.released = {contentText};
    enter("releaseContent");
}

constexpr AlertPluginApi wholeTable{create,           destroy,         processAlert,
                                    releaseProcessed, getAlertContent, releaseContent};
AlertPluginApi table;

void* createObject(uint32_t version) {
    plugin.calls.push_back("CreateObject " + std::to_string(version));
    if (plugin.throws)
        throw 1;  // no standard exception
    return plugin.offersTable ? &table : nullptr;
}

// Stands for the plugin's library file.
class FakeLoader : public Tavix::DllLoader {
public:
    bool loadDLL(const std::u16string& path, Platform::LibraryHandle* handle) override {
        plugin.calls.push_back(path == u"C:\\P\\p.dll" ? "loaded" : "loaded another file");
        *handle = reinterpret_cast<Platform::LibraryHandle>(this);
        return true;
    }
    void* getProcAddress(Platform::LibraryHandle, const char* function) override {
        return function == std::string("CreateObject") ? reinterpret_cast<void*>(&createObject)
                                                       : reinterpret_cast<void*>(&enter);
    }
    bool freeDLL(Platform::LibraryHandle) override {
        plugin.calls.emplace_back("freed");
        return true;
    }
};

class FakeSearch : public Tavix::PathSearch {
public:
    bool findFilePath(const std::u16string&, std::u16string& folder) override {
        folder = getSearchPaths().at(0);
        return true;
    }
};

using Calls = std::vector<std::string>;

class AlertPluginLibTest : public testing::Test {
protected:
    AlertPluginLibTest() {
        plugin = Plugin();
        table = wholeTable;
        define(u"{\"pluginFile\":\"p.dll\",\"pluginPath\":\"C:\\\\P\"}");
    }

    // Sets the product's definition; none: the settings hold none.
    void define(const std::optional<std::u16string>& definition) {
        bus.answer(u"SETTINGS_MANAGER_GET_PROPERTY", [definition](const FakeBus::Sent&) {
            Tavix::JSONFormatter json;
            json.setString(u"name", u"Brevant/Product/P");
            json.setBool(u"status", definition.has_value());
            json.setString(u"value", definition.value_or(u""));
            return std::optional<FakeBus::Answer>({u"Response", json.toString()});
        });
    }

    std::unique_ptr<Vok::AlertPluginLib> makeLib(Vok::AlertPluginLib::LibraryLoader loader = fakeLibrary) {
        return std::make_unique<Vok::AlertPluginLib>(u"P", nullptr, settings, std::move(loader));
    }
    uint32_t process() { return lib->processAlert(u"text", processed, &suppress, extra); }

    static std::shared_ptr<Tavix::SharedLibrary> fakeLibrary(Tavix::LibraryDefinition definition) {
        return std::make_shared<Tavix::SharedLibrary>(std::move(definition), std::make_shared<FakeLoader>(),
                                                      nullptr, std::make_shared<FakeSearch>());
    }

    FakeBus bus;
    LogCapture log;
    std::shared_ptr<Tavix::SettingsManager> settings =
        std::make_shared<Tavix::SettingsManagerClient>(bus.makeClient());
    std::unique_ptr<Vok::AlertPluginLib> lib = makeLib();
    std::u16string processed, extra, content;
    uint32_t suppress = 0;
};

TEST_F(AlertPluginLibTest, LoadsAtFirstUseAndEndsTheInstanceBeforeItsLibrary) {
    EXPECT_EQ(process(), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(processed, u"processed");
    EXPECT_EQ(extra, u"extra");
    EXPECT_EQ(suppress, 1u);
    EXPECT_EQ(plugin.lastInput, u"text");
    EXPECT_EQ(plugin.released, (std::vector<const char16_t*>{plugin.processedText, plugin.extraText}));
    EXPECT_EQ(lib->getAlertContent(u"text", u"V", content), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(content, u"content");
    EXPECT_EQ(plugin.lastInput, u"text/V");
    EXPECT_EQ(plugin.released, (std::vector<const char16_t*>{plugin.contentText}));
    EXPECT_EQ(bus.requests().at(0).timeout, 5000u);
    lib.reset();
    EXPECT_EQ(plugin.calls,
              (Calls{"loaded", "CreateObject 2000000", "create", "processAlert", "releaseProcessed",
                     "getAlertContent", "releaseContent", "destroy", "freed"}));
    EXPECT_TRUE(log.has(1, u"Processing alert. Plugin for P in state UNLOADED."));
    EXPECT_TRUE(log.has(1, u"Plugin for P is in state UNLOADED. Attempting to reload."));
    EXPECT_TRUE(log.has(1, u"Changing state of plugin for P to LOADED."));
    EXPECT_TRUE(log.has(1, u"Getting alert content. Plugin for P in state LOADED."));
}

TEST_F(AlertPluginLibTest, ReloadsAtTheNextUseWhatIsNotLoaded) {
    EXPECT_EQ(lib->load(), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(plugin.lastInput, u"AlertPlugin");
    lib->setState(Vok::PluginState::invalidated);
    EXPECT_TRUE(log.has(1, u"Changing state of plugin for P to INVALIDATED."));
    plugin.calls.clear();
    EXPECT_EQ(process(), MODULE_STATUS_SUCCESS);
    EXPECT_TRUE(log.has(1, u"Plugin for P is in state INVALIDATED. Attempting to reload."));
    EXPECT_EQ(plugin.calls, (Calls{"destroy", "loaded", "freed", "CreateObject 2000000", "create",
                                   "processAlert", "releaseProcessed"}));

    lib->setState(static_cast<Vok::PluginState>(5));
    define(std::nullopt);
    EXPECT_EQ(process(), MODULE_STATUS_BUFFER_TOO_SMALL);
    EXPECT_TRUE(log.has(1, u"Plugin for P is in state UNKNOWN. Attempting to reload."));
    EXPECT_TRUE(log.has(4, u"Failed to verify the plugin state for product: P"));
    EXPECT_EQ(lib->getAlertContent(u"text", u"V", content), MODULE_STATUS_BUFFER_TOO_SMALL);
    EXPECT_TRUE(log.has(1, u"Getting alert content. Plugin for P in state UNLOADED."));
}

TEST_F(AlertPluginLibTest, ReplacesALoadedPluginWithoutLosingItsInstance) {
    EXPECT_EQ(lib->load(), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(lib->load(), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(plugin.calls, (Calls{"loaded", "CreateObject 2000000", "create", "loaded", "destroy", "freed",
                                   "CreateObject 2000000", "create"}));
}

TEST_F(AlertPluginLibTest, ReportsADefinitionThatItCannotUse) {
    define(std::nullopt);
    EXPECT_EQ(lib->load(), MODULE_STATUS_BUFFER_TOO_SMALL);
    EXPECT_TRUE(log.has(4, u"Failed to get pluginDefinition from settings Manager. Key Brevant/Product/P"));

    const std::vector<std::pair<std::u16string, std::u16string>> refused{
        {u"[]", u"Failed to parse plugin definition Key: Brevant/Product/P, Value: []. "},
        {u"{\"pluginFile\":1}", u"Failed to parse pluginFile from: {\"pluginFile\":1}"},
        {u"{\"pluginFile\":\"a.dll\"}", u"Failed to parse pluginPath from: {\"pluginFile\":\"a.dll\"}"}};
    for (const auto& [definition, text] : refused) {
        define(definition);
        EXPECT_EQ(lib->load(), MODULE_STATUS_UNSUCCESSFUL);
        EXPECT_TRUE(log.has(4, text));
    }
    EXPECT_TRUE(plugin.calls.empty());
}

TEST_F(AlertPluginLibTest, ReportsALibraryThatItCannotLoad) {
    define(u"{\"pluginFile\":\"p.dll\",\"pluginPath\":\"no such folder\"}");
    EXPECT_EQ(makeLib(nullptr)->load(), MODULE_STATUS_NOT_SUPPORTED);
    EXPECT_TRUE(log.has(4, u"Failed create SharedLibrary for plugin: P. Exception: Failed to load library."));

    struct Silent : std::exception {
        const char* what() const noexcept override { return ""; }
    };
    lib = makeLib([](Tavix::LibraryDefinition) -> std::shared_ptr<Tavix::SharedLibrary> { throw Silent(); });
    EXPECT_EQ(lib->load(), MODULE_STATUS_NOT_SUPPORTED);
    EXPECT_TRUE(log.has(4, u"Failed create SharedLibrary for plugin: P. Exception: Unknown exception."));
}

TEST_F(AlertPluginLibTest, StaysUnloadedWhenThePluginMakesNoInstance) {
    plugin.offersTable = false;
    EXPECT_EQ(process(), MODULE_STATUS_NOT_SUPPORTED);
    EXPECT_TRUE(log.has(4, u"Failed to create object"));
    EXPECT_TRUE(log.has(4, u"Failed to create alert plugin instance."));

    plugin.offersTable = true;
    plugin.status = 7;
    EXPECT_EQ(process(), 7u);
    EXPECT_TRUE(log.has(4, u"Failed to create instance of Alert Plugin. Error code: 7"));
    plugin.throws = true;
    EXPECT_EQ(process(), MODULE_STATUS_UNKNOWN_EXCEPTION);
    plugin.calls.clear();
    lib.reset();
    EXPECT_EQ(plugin.calls, Calls{"freed"});
}

TEST_F(AlertPluginLibTest, NeitherReadsNorReleasesTextsAfterAFailure) {
    lib->load();
    plugin.calls.clear();
    plugin.status = 0x12345678;
    plugin.processedText = plugin.contentText = reinterpret_cast<const char16_t*>(1);
    EXPECT_EQ(process(), 0x12345678u);
    EXPECT_EQ(suppress, 1u);
    EXPECT_EQ(processed, u"");
    EXPECT_EQ(lib->getAlertContent(u"text", u"V", content), 0x12345678u);
    EXPECT_EQ(plugin.calls, (Calls{"processAlert", "getAlertContent"}));
    lib.reset();
    EXPECT_TRUE(log.has(2, u"Failed to destroy alert plugin instance. Product: P. Error code: 305419896."));
}

TEST_F(AlertPluginLibTest, SurvivesAPluginThatThrowsOrHandsBackNothing) {
    lib->load();
    plugin.processedText = plugin.extraText = plugin.contentText = nullptr;
    processed = content = u"before";
    EXPECT_EQ(process(), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(processed, u"");
    EXPECT_EQ(plugin.released, (std::vector<const char16_t*>{nullptr, nullptr}));
    EXPECT_EQ(lib->getAlertContent(u"text", u"V", content), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(content, u"");

    plugin.throws = true;
    EXPECT_EQ(process(), MODULE_STATUS_UNKNOWN_EXCEPTION);
    EXPECT_EQ(lib->getAlertContent(u"text", u"V", content), MODULE_STATUS_UNKNOWN_EXCEPTION);
    EXPECT_TRUE(log.has(4, u"Alert plugin threw an exception. Product: P"));
    // A destroy that throws is not asked again.
    plugin.calls.clear();
    lib->unload();
    lib.reset();
    EXPECT_EQ(plugin.calls, (Calls{"destroy", "freed"}));
}

TEST_F(AlertPluginLibTest, TakesMissingEntriesForUnsupported) {
    lib->load();
    table = AlertPluginApi{};
    EXPECT_EQ(process(), MODULE_STATUS_NOT_SUPPORTED);
    EXPECT_EQ(lib->getAlertContent(u"text", u"V", content), MODULE_STATUS_NOT_SUPPORTED);
    table.processAlert = &processAlert;
    EXPECT_EQ(process(), MODULE_STATUS_SUCCESS);
    lib->setState(Vok::PluginState::invalidated);
    EXPECT_EQ(process(), MODULE_STATUS_NOT_SUPPORTED);
    // Somebody calls a plugin loaded that has no table.
    lib->setState(Vok::PluginState::loaded);
    EXPECT_EQ(process(), MODULE_STATUS_NOT_SUPPORTED);
}

}  // namespace
