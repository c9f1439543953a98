#include "host/program/viewer/DisplayedAlert.h"

#include <set>
#include <utility>

#include <brevant/alerts.h>

#include "json/JSONFormatter.h"

namespace Host {
namespace {

using Tavix::JSONView;

constexpr size_t mostOfAKind = 64;

// What stands in a message's name: a zero would end it there.
bool getName(const JSONView& item, std::u16string_view member, std::u16string& name) {
    std::u16string text;
    if (!item.getString(member, text) || text.find(u'\0') != text.npos)
        return false;
    name = std::move(text);
    return true;
}

DisplayedAlert::Message messageOf(const JSONView& item) {
    DisplayedAlert::Message message;
    getName(item, BREVANT_CHOICE_MESSAGE_NAME, message.name);
    item.getString(BREVANT_CHOICE_PAYLOAD, message.payload);
    return message;
}

std::vector<JSONView> listOf(const JSONView& context, std::u16string_view name) {
    std::vector<JSONView> items;
    context.getObjectArray(name, items);
    if (items.size() > mostOfAKind)
        items.resize(mostOfAKind);
    return items;
}

std::vector<DisplayedAlert::Message> messagesOf(const JSONView& context, std::u16string_view name) {
    std::vector<DisplayedAlert::Message> messages;
    for (const JSONView& item : listOf(context, name)) {
        if (DisplayedAlert::Message message = messageOf(item); !message.name.empty())
            messages.push_back(std::move(message));
    }
    return messages;
}

// What the product's plugin supplied: an object whose "text" is the body, or the body itself.
std::u16string contentText(const std::u16string& content) {
    Tavix::JSONFormatter object;
    std::u16string text;
    return object.parse(content) && object.getString(u"text", text) ? text : content;
}

}  // namespace

std::optional<DisplayedAlert> DisplayedAlert::parse(const std::u16string& description) {
    Tavix::JSONFormatter document;
    DisplayedAlert alert;
    if (!document.parse(description) || !getName(document.view(), BREVANT_DESCRIPTION_ID, alert.id))
        return std::nullopt;
    uint32_t seconds = 0;
    if (document.getUInt32(BREVANT_DESCRIPTION_TIMEOUT, seconds))
        alert.timeout = std::chrono::seconds(seconds);

    JSONView context;
    document.view().getObject(BREVANT_DESCRIPTION_CONTEXT, context);
    context.getString(BREVANT_CONTEXT_TITLE, alert.title);
    for (const std::u16string_view name :
         {BREVANT_CONTEXT_SHORT_DESCRIPTION, BREVANT_CONTEXT_LONG_DESCRIPTION}) {
        std::u16string text;
        if (context.getString(name, text) && !text.empty())
            alert.texts.push_back(std::move(text));
    }
    std::u16string content;
    document.getString(BREVANT_DESCRIPTION_CONTENT, content);
    if (std::u16string text = contentText(content); !text.empty())
        alert.texts.push_back(std::move(text));

    for (const JSONView& item : listOf(context, BREVANT_CONTEXT_ACTIONS)) {
        Action action;
        item.getString(BREVANT_ACTION_TEXT, action.text);
        if (JSONView message; item.getObject(BREVANT_ACTION_DEFAULT_MESSAGE, message))
            action.message = messageOf(message);
        item.getString(BREVANT_ACTION_ID, action.id);
        item.getBool(BREVANT_ACTION_DEFAULT, action.isDefault);
        for (const JSONView& option : listOf(item, BREVANT_ACTION_OPTIONS)) {
            OptionMessage tied;
            option.getStringArray(BREVANT_ACTION_OPTION_IDS, tied.options);
            if (JSONView message; option.getObject(BREVANT_ACTION_OPTION_MESSAGE, message))
                tied.message = messageOf(message);
            if (!tied.message.name.empty())
                action.optionMessages.push_back(std::move(tied));
        }
        alert.actions.push_back(std::move(action));
    }
    for (const JSONView& item : listOf(context, BREVANT_CONTEXT_OPTIONS)) {
        Option option;
        item.getString(BREVANT_OPTION_TEXT, option.text);
        item.getBool(BREVANT_OPTION_SELECTED, option.selected);
        item.getString(BREVANT_OPTION_ID, option.id);
        alert.options.push_back(std::move(option));
    }
    alert.timeoutMessages = messagesOf(context, BREVANT_CONTEXT_TIMEOUT_ACTIONS);
    alert.dismissalMessages = messagesOf(context, BREVANT_CONTEXT_DISMISSAL_ACTIONS);
    return alert;
}

const DisplayedAlert::Message& DisplayedAlert::messageFor(const Action& action,
                                                          const std::vector<size_t>& ticked) const {
    std::set<std::u16string> ids;
    for (const size_t at : ticked)
        ids.insert(options[at].id);
    for (const OptionMessage& tied : action.optionMessages) {
        if (std::set(tied.options.begin(), tied.options.end()) == ids)
            return tied.message;
    }
    return action.message;
}

}  // namespace Host
