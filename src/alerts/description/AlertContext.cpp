#include "alerts/description/AlertContext.h"

#include <utility>

#include <brevant/alerts.h>

#include "json/JSONFormatter.h"

namespace Vok {

namespace {

using Tavix::JSONView;

ActionMessage readMessage(const JSONView& json) {
    ActionMessage message;
    json.getString(BREVANT_CHOICE_MESSAGE_NAME, message.messagename);
    json.getString(BREVANT_CHOICE_PAYLOAD, message.payload);
    return message;
}

// Lists end at their first element that is no object; what stands before it counts.
std::vector<JSONView> objects(const JSONView& json, std::u16string_view name) {
    std::vector<JSONView> found;
    json.getObjectArray(name, found);
    return found;
}

void readMessages(const JSONView& json, std::u16string_view name, std::vector<ActionMessage>& messages) {
    for (const JSONView& element : objects(json, name))
        messages.push_back(readMessage(element));
}

bool readOption(const JSONView& json, AlertOption& option) {
    return json.getString(BREVANT_OPTION_ID, option.id) && json.getString(BREVANT_OPTION_TEXT, option.text) &&
           json.getBool(BREVANT_OPTION_SELECTED, option.selected);
}

ActionOption readActionOption(const JSONView& json) {
    ActionOption option;
    JSONView message;
    json.getObject(BREVANT_ACTION_OPTION_MESSAGE, message);
    option.message = readMessage(message);
    json.getStringArray(BREVANT_ACTION_OPTION_IDS, option.idList);
    return option;
}

bool readAction(const JSONView& json, AlertAction& action) {
    JSONView message;
    if (!json.getString(BREVANT_ACTION_TEXT, action.text) ||
        !json.getObject(BREVANT_ACTION_DEFAULT_MESSAGE, message))
        return false;
    action.defaultmessage = readMessage(message);
    if (!json.getString(BREVANT_ACTION_ID, action.id))
        return false;
    json.getBool(BREVANT_ACTION_DEFAULT, action.isDefault);
    for (const JSONView& element : objects(json, BREVANT_ACTION_OPTIONS))
        action.options.push_back(readActionOption(element));
    return true;
}

}  // namespace

bool AlertContext::fromJson(const std::u16string& text) {
    Tavix::JSONFormatter document;
    return document.parse(text) && read(document.view());
}

bool AlertContext::read(const JSONView& json) {
    if (!json.getString(BREVANT_CONTEXT_TITLE, title))  // compat
        return false;
    json.getString(BREVANT_CONTEXT_CATEGORY, category);
    json.getString(BREVANT_CONTEXT_SHORT_DESCRIPTION, shortdescription);
    json.getString(BREVANT_CONTEXT_LONG_DESCRIPTION, longdescription);
    json.getString(BREVANT_CONTEXT_LANGUAGE_ID, langid);
    json.getString(BREVANT_CONTEXT_DETAILS_CONTENT, detailscontent);
    json.getString(BREVANT_CONTEXT_DEFAULT_CONTENT, defaultcontent);
    json.getString(BREVANT_CONTEXT_RECOMMENDED_TEXT, recommendedtext);
    json.getString(BREVANT_CONTEXT_DETAIL_LINK_TEXT, detaillinktext);
    json.getString(BREVANT_CONTEXT_DETAIL_LINK_CONTEXT, detaillinkcontext);
    json.getString(BREVANT_CONTEXT_APPLICATION_ID, appid);
    json.getString(BREVANT_CONTEXT_PLUGIN, plugin);
    json.getString(BREVANT_CONTEXT_MARKET_DESCRIPTION, alertmarketdescription);
    json.getString(BREVANT_CONTEXT_TYPE_DESCRIPTION, typedescription);
    json.getString(BREVANT_CONTEXT_TELEMETRY, telemetry);
    json.getUInt32(BREVANT_CONTEXT_WIDTH, width);
    json.getUInt32(BREVANT_CONTEXT_TIMEOUT, timeout);
    json.getUInt32(BREVANT_CONTEXT_DETAIL_LINK_TYPE, detaillinktype);
    json.getUInt32(BREVANT_CONTEXT_STATUS, status);
    json.getBool(BREVANT_CONTEXT_LEGACY, legacy);
    readMessages(json, BREVANT_CONTEXT_TIMEOUT_ACTIONS, timeoutactions);
    readMessages(json, BREVANT_CONTEXT_DISMISSAL_ACTIONS, dismissalactions);
    for (const JSONView& element : objects(json, BREVANT_CONTEXT_OPTIONS)) {
        AlertOption option;
        if (!readOption(element, option))  // compat
            return false;
        options.push_back(std::move(option));
    }
    for (const JSONView& element : objects(json, BREVANT_CONTEXT_ACTIONS)) {
        AlertAction action;
        if (!readAction(element, action))
            return false;
        actions.push_back(std::move(action));
    }
    return true;
}

}  // namespace Vok
