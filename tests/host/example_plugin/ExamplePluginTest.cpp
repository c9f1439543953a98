// The plugin as the broker sees it: a library with four exports.
#include <gtest/gtest.h>
#include <string>

#include <brevant/plugin.h>

#include "platform/DynamicLibrary.h"
#include "platform/Process.h"

namespace {

class ExamplePluginTest : public testing::Test {
protected:
    void SetUp() override {
        const std::u16string program = Platform::executablePath();
        library = Platform::loadLibrary(program.substr(0, program.rfind(u'\\') + 1) + PLUGIN_FILE);
        ASSERT_NE(library, nullptr);
        createObject = reinterpret_cast<BrevantCreateObject>(
            Platform::libraryFunction(library, BREVANT_EXPORT_CREATE_OBJECT));
        api = static_cast<AlertPluginApi*>(createObject(BREVANT_PLUGIN_VERSION));
        ASSERT_NE(api, nullptr);
        ASSERT_EQ(api->create(&instance, u"AlertPlugin"), MODULE_STATUS_SUCCESS);
    }
    void TearDown() override {
        EXPECT_EQ(api->destroy(instance), MODULE_STATUS_SUCCESS);
        Platform::freeLibrary(library);
    }

    // The status, then the suppress flag, then the processed text.
    uint32_t process(const std::u16string& alert) {
        const char16_t *text = nullptr, *extra = nullptr;
        suppress = 0;
        const uint32_t status = api->processAlert(instance, alert.c_str(), &text, &suppress, &extra);
        if (status == MODULE_STATUS_SUCCESS) {
            EXPECT_NE(extra, nullptr);
            processed = text;
            api->releaseProcessed(text, extra);
        }
        return status;
    }

    Platform::LibraryHandle library = nullptr;
    BrevantCreateObject createObject = nullptr;
    AlertPluginApi* api = nullptr;
    void* instance = nullptr;
    uint32_t suppress = 0;
    std::u16string processed;
};

TEST_F(ExamplePluginTest, NamesTheConsoleForAlertsWithoutViewersAndSuppressesAdverts) {
    EXPECT_EQ(createObject(BREVANT_PLUGIN_VERSION + 1), nullptr);
    EXPECT_EQ(process(uR"({"id":"a","context":{"category":"update"}})"), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(suppress, 0u);
    EXPECT_EQ(processed, uR"({"id":"a","context":{"category":"update"},"preferredViewer":["console"]})");
    EXPECT_EQ(process(uR"({"preferredViewer":["v"],"context":{"category":"advert"}})"),
              MODULE_STATUS_SUCCESS);
    EXPECT_EQ(suppress, 1u);
    EXPECT_EQ(processed, uR"({"preferredViewer":["v"],"context":{"category":"advert"}})");
    EXPECT_EQ(process(u"no JSON"), MODULE_STATUS_DATA_ERROR);
    EXPECT_EQ(suppress, 0u);
}

TEST_F(ExamplePluginTest, FillsTheContentFromTheContext) {
    const char16_t* content = nullptr;
    ASSERT_EQ(api->getAlertContent(instance, uR"({"context":{"title":"T","defaultcontent":"D"}})", u"console",
                                   &content),
              MODULE_STATUS_SUCCESS);
    EXPECT_EQ(std::u16string(content), uR"({"title":"T","text":"D"})");
    api->releaseContent(content);
    EXPECT_EQ(api->getAlertContent(instance, u"[]", u"console", &content), MODULE_STATUS_DATA_ERROR);
    EXPECT_EQ(api->getAlertContent(instance, nullptr, nullptr, &content), MODULE_STATUS_INVALID_PARAMETER);
}

}  // namespace
