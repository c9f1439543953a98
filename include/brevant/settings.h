/*
 * The settings manager's protocol, for who writes a host: the named properties that the broker reads and
 * watches, as requests and notifications on the message bus. Viewers and products use the same.
 *
 * Names and values are texts. A payload is one JSON object; names are compared exactly, a prefix stands for
 * every name that begins with it. Each request is answered by a reply (message.h); its name is not read.
 *
 *   GET           {"name":N}                                  {"name":N,"status":B,"value":V}
 *   SET           {"name":N,"value":V,"volatile":B}           {"name":N,"status":B}
 *   REMOVE        {"name":N}                                  {"name":N,"status":B}
 *   ..._BATCH     {"properties":[...]}, of the requests       {"responses":[...]}, of the replies above
 *                 above
 *
 * status tells whether the thing was done, or is there. A property that is volatile is forgotten with the
 * settings manager. In the batches that get and remove, {"name":P,"isPrefix":true} asks for all properties
 * under a prefix: those that are got are answered under their own names, a prefix that is removed under P.
 *
 * Each change is told twice, in the order of the changes: under one topic for all, {"name":N}, and under a
 * topic that ends in the property's name, {"name":N,"value":V} or, for one that is gone, {"name":N}. A change
 * is made before it is told. Whoever is told may ask at once, from inside the notification: the settings
 * manager holds no lock while it tells.
 */
#ifndef BREVANT_SETTINGS_H
#define BREVANT_SETTINGS_H

#include <brevant/conventions.h>

/* Topics of requests. */
#define BREVANT_SETTINGS_GET u"SETTINGS_MANAGER_GET_PROPERTY" /* compat */
#define BREVANT_SETTINGS_SET u"SETTINGS_MANAGER_SET_PROPERTY"
#define BREVANT_SETTINGS_REMOVE u"SETTINGS_MANAGER_REMOVE_PROPERTY"
#define BREVANT_SETTINGS_GET_BATCH u"SettingsManager.GetProperties.Request" /* compat */
#define BREVANT_SETTINGS_SET_BATCH u"SettingsManager.SetProperties.Request"
#define BREVANT_SETTINGS_REMOVE_BATCH u"SettingsManager.RemoveProperties.Request"

/* Topics of notifications; the last two are followed by the property's name. */
#define BREVANT_SETTINGS_WAS_SET u"SETTINGS_MANAGER_PROPERTY_SET"
#define BREVANT_SETTINGS_WAS_REMOVED u"SETTINGS_MANAGER_PROPERTY_REMOVED"
#define BREVANT_SETTINGS_NOTIFY_SET u"SettingsManager.Notify.Set."
#define BREVANT_SETTINGS_NOTIFY_DELETE u"SettingsManager.Notify.Delete."

/* Members of the payloads. */
#define BREVANT_SETTINGS_NAME u"name"
#define BREVANT_SETTINGS_VALUE u"value"
#define BREVANT_SETTINGS_VOLATILE u"volatile"
#define BREVANT_SETTINGS_IS_PREFIX u"isPrefix"
#define BREVANT_SETTINGS_PROPERTIES u"properties"
#define BREVANT_SETTINGS_RESPONSES u"responses"
#define BREVANT_SETTINGS_STATUS u"status"

#endif
