#include "alerts/description/AlertContext.h"

#include <utility>

#include "json/JSONFormatter.h"

namespace Vok {

namespace {

using Tavix::JSONView;

ActionMessage readMessage(const JSONView& json) {
    ActionMessage message;
    json.getString(u"messagename", message.messagename);
    json.getString(u"payload", message.payload);
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
    return json.getString(u"id", option.id) && json.getString(u"text", option.text) &&
           json.getBool(u"selected", option.selected);
}

ActionOption readActionOption(const JSONView& json) {
    ActionOption option;
    JSONView message;
    json.getObject(u"message", message);
    option.message = readMessage(message);
    json.getStringArray(u"idList", option.idList);
    return option;
}

bool readAction(const JSONView& json, AlertAction& action) {
    JSONView message;
    if (!json.getString(u"text", action.text) || !json.getObject(u"defaultmessage", message))
        return false;
    action.defaultmessage = readMessage(message);
    if (!json.getString(u"id", action.id))
        return false;
    json.getBool(u"default", action.isDefault);
    for (const JSONView& element : objects(json, u"options"))
        action.options.push_back(readActionOption(element));
    return true;
}

}  // namespace

bool AlertContext::fromJson(const std::u16string& text) {
    Tavix::JSONFormatter document;
    if (!document.parse(text))
        return false;
    const JSONView json = document.view();
    if (!json.getString(u"title", title))
        return false;
    json.getString(u"category", category);
    json.getString(u"shortdescription", shortdescription);
    json.getString(u"longdescription", longdescription);
    json.getString(u"langid", langid);
    json.getString(u"detailscontent", detailscontent);
    json.getString(u"defaultcontent", defaultcontent);
    json.getString(u"recommendedtext", recommendedtext);
    json.getString(u"detaillinktext", detaillinktext);
    json.getString(u"detaillinkcontext", detaillinkcontext);
    json.getString(u"appid", appid);
    json.getString(u"plugin", plugin);
    json.getString(u"alertmarketdescription", alertmarketdescription);
    json.getString(u"typedescription", typedescription);
    json.getString(u"telemetry", telemetry);
    json.getUInt32(u"width", width);
    json.getUInt32(u"timeout", timeout);
    json.getUInt32(u"detaillinktype", detaillinktype);
    json.getUInt32(u"status", status);
    json.getBool(u"legacy", legacy);
    readMessages(json, u"timeoutactions", timeoutactions);
    readMessages(json, u"dismissalactions", dismissalactions);
    for (const JSONView& element : objects(json, u"options")) {
        AlertOption option;
        if (!readOption(element, option))
            return false;
        options.push_back(std::move(option));
    }
    for (const JSONView& element : objects(json, u"actions")) {
        AlertAction action;
        if (!readAction(element, action))
            return false;
        actions.push_back(std::move(action));
    }
    return true;
}

}  // namespace Vok
