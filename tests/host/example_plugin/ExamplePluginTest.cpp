// The plugin as the broker sees it: a library with four exports.
#include <gtest/gtest.h>
#include <string>

#include <brevant/plugin.h>

#include "support/Beside.h"

namespace {

TEST(ExamplePlugin, NamesTheConsoleForAlertsWithoutViewersSuppressesAdvertsAndFillsTheContent) {
    const Support::LoadedLibrary library(beside(PLUGIN_FILE));
    ASSERT_TRUE(library);
    const auto createObject = library.function<BrevantCreateObject>(BREVANT_EXPORT_CREATE_OBJECT);
    EXPECT_EQ(createObject(BREVANT_PLUGIN_VERSION + 1), nullptr);
    const auto& api = *static_cast<AlertPluginApi*>(createObject(BREVANT_PLUGIN_VERSION));
    void* instance = nullptr;
    ASSERT_EQ(api.create(&instance, u"AlertPlugin"), MODULE_STATUS_SUCCESS);

    const struct {
        const char16_t *alert, *processed;
        uint32_t suppress;
    } cases[]{{uR"({"id":"a","context":{"category":"update"}})",
               uR"({"id":"a","context":{"category":"update"},"preferredViewer":["console"]})", 0},
              {uR"({"preferredViewer":["v"],"context":{"category":"advert"}})",
               uR"({"preferredViewer":["v"],"context":{"category":"advert"}})", 1}};
    const char16_t *text = nullptr, *extra = nullptr;
    for (const auto& one : cases) {
        uint32_t suppress = 0;
        EXPECT_EQ(api.processAlert(instance, one.alert, &text, &suppress, &extra), MODULE_STATUS_SUCCESS);
        EXPECT_EQ(text, std::u16string_view(one.processed));
        EXPECT_NE(extra, nullptr);
        EXPECT_EQ(suppress, one.suppress);
        api.releaseProcessed(text, extra);
    }
    uint32_t suppress = 0;
    EXPECT_EQ(api.processAlert(instance, u"no JSON", &text, &suppress, &extra), MODULE_STATUS_DATA_ERROR);

    ASSERT_EQ(api.getAlertContent(instance, uR"({"context":{"title":"T","defaultcontent":"D"}})", u"console",
                                  &text),
              MODULE_STATUS_SUCCESS);
    EXPECT_EQ(text, std::u16string_view(uR"({"title":"T","text":"D"})"));
    api.releaseContent(text);
    EXPECT_EQ(api.getAlertContent(instance, u"[]", u"console", &text), MODULE_STATUS_DATA_ERROR);
    EXPECT_EQ(api.getAlertContent(instance, nullptr, nullptr, &text), MODULE_STATUS_INVALID_PARAMETER);
    EXPECT_EQ(api.destroy(instance), MODULE_STATUS_SUCCESS);
}

}  // namespace
