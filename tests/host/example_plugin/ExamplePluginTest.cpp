// What the program's own road does not show of it: what the broker sees of a plugin is a library with four
// exports.
#include <gtest/gtest.h>
#include <string>

#include <brevant/plugin.h>

#include "support/Beside.h"

namespace {

TEST(ExamplePlugin, KeepsTheViewersThatAnAlertNamesAndRefusesWhatItCannotRead) {
    const Support::LoadedLibrary library(beside(PLUGIN_FILE));
    ASSERT_TRUE(library);
    const auto createObject = library.function<BrevantCreateObject>(BREVANT_EXPORT_CREATE_OBJECT);
    EXPECT_EQ(createObject(BREVANT_PLUGIN_VERSION + 1), nullptr);
    const auto& api = *static_cast<AlertPluginApi*>(createObject(BREVANT_PLUGIN_VERSION));
    void* instance = nullptr;
    ASSERT_EQ(api.create(&instance, u"AlertPlugin"), MODULE_STATUS_SUCCESS);
    const char16_t *text = nullptr, *extra = nullptr;
    uint32_t suppress = 0;
    const char16_t* const alert = uR"({"preferredViewer":["v"],"context":{"category":"advert"}})";
    EXPECT_EQ(api.processAlert(instance, alert, &text, &suppress, &extra), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(text, std::u16string_view(alert));
    EXPECT_NE(extra, nullptr);
    api.releaseProcessed(text, extra);
    EXPECT_EQ(api.processAlert(instance, u"no JSON", &text, &suppress, &extra), MODULE_STATUS_DATA_ERROR);
    EXPECT_EQ(api.getAlertContent(instance, u"[]", u"console", &text), MODULE_STATUS_DATA_ERROR);
    EXPECT_EQ(api.getAlertContent(instance, nullptr, nullptr, &text), MODULE_STATUS_INVALID_PARAMETER);
    EXPECT_EQ(api.destroy(instance), MODULE_STATUS_SUCCESS);
}

}  // namespace
