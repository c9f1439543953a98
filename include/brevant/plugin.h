/*
 * The alert plugin, for a product that raises alerts. The plugin is a library that exports the four functions
 * of library.h; the broker calls CreateObject(BREVANT_PLUGIN_VERSION) and expects the table below, or null
 * when the plugin does not offer that version.
 *
 * The broker finds it through the settings property "Brevant/Product/<product>" (alerts.h), a JSON object
 * with "pluginFile" (file name) and "pluginPath" (folder: a full path, macros such as "$(App.Folder)"
 * replaced; nothing is loaded from a relative one), loads it at the product's first alert and keeps it until
 * the module ends. When that property is deleted, the next alert ends the instance, looks the library up
 * again and makes a new instance, which fails while the property stays deleted. The former library is let go
 * of only once the new one is there: a file that was replaced under the same path is not read again, and the
 * old code goes on, for as long as anything in the process uses it. To change a plugin under a running
 * broker, put the new file beside the old one under another name, delete the property and set it anew.
 *
 * Every call to every plugin of the broker is made one after the other, never two at once, on threads of the
 * broker's choosing: be quick, and do not call back into the broker and wait for it.
 *
 * A plugin that throws, fails or returns null texts harms only its own alerts: processAlert then leaves the
 * alert as it came, getAlertContent fails it; a null content is an empty one.
 */
#ifndef BREVANT_PLUGIN_H
#define BREVANT_PLUGIN_H

#include <brevant/library.h>
#include <brevant/status.h>

#ifdef __cplusplus
extern "C" {
#endif

#define BREVANT_PLUGIN_VERSION 2000000u /* compat */

typedef struct AlertPluginApi {
    /*
     * Makes one plugin instance; *instance is passed to every other entry. name is "AlertPlugin".
     * A failure is logged and fails the load. [broker thread & loaded]
     */
    uint32_t (*create)(void** instance, const char16_t* name);

    /* Ends an instance. [broker thread & created] */
    uint32_t (*destroy)(void* instance);

    /*
     * Decides about one alert before it is queued. alertText is its description as JSON. On success
     * *processedText is a description too, of which only the "preferredViewer" list is heeded; a text that is
     * no description suppresses the alert, an empty or null one counts as a failure. Set *suppress to 1 to
     * suppress the alert, also when failing; any other value shows it. *extraText is not used by the broker;
     * set it to an empty text. On success both texts stay valid until they come back in releaseProcessed;
     * after a failure they are neither read nor released. [broker thread & created]
     */
    uint32_t (*processAlert)(void* instance, const char16_t* alertText, const char16_t** processedText,
                             uint32_t* suppress, const char16_t** extraText);

    /* Takes back the texts of a successful processAlert. [broker thread & created] */
    void (*releaseProcessed)(const char16_t* processedText, const char16_t* extraText);

    /*
     * Supplies what the viewer displays, when the alert's turn has come. The text goes into the description's
     * "content" as it is. A failure fails the alert. The text stays valid until it comes back in
     * releaseContent. [broker thread & created]
     */
    uint32_t (*getAlertContent)(void* instance, const char16_t* alertText, const char16_t* viewerId,
                                const char16_t** contentText);

    /* Takes back the text of a successful getAlertContent. [broker thread & created] */
    void (*releaseContent)(const char16_t* contentText);
} AlertPluginApi;

BREVANT_STATIC_ASSERT(sizeof(AlertPluginApi) == 6 * sizeof(void*), "the plugin table has six entries");
BREVANT_STATIC_ASSERT(offsetof(AlertPluginApi, getAlertContent) == 4 * sizeof(void*),
                      "getAlertContent is entry 4");

#ifdef __cplusplus
}
#endif

#endif
