#include "host/program/DisplayedAlert.h"

#include "json/JSONFormatter.h"

namespace Host {
namespace {

using Tavix::JSONView;

constexpr size_t mostOfAKind = 64;

DisplayedAlert::Message messageOf(const JSONView& item) {
    DisplayedAlert::Message message;
    item.getString(u"messagename", message.name);
    item.getString(u"payload", message.payload);
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
    if (!document.parse(description) || !document.getString(u"id", alert.id))
        return std::nullopt;
    uint32_t seconds = 0;
    if (document.getUInt32(u"timeout", seconds))
        alert.timeout = std::chrono::seconds(seconds);

    JSONView context;
    document.view().getObject(u"context", context);
    context.getString(u"title", alert.title);
    for (const std::u16string_view name : {u"shortdescription", u"longdescription"}) {
        std::u16string text;
        if (context.getString(name, text) && !text.empty())
            alert.texts.push_back(std::move(text));
    }
    std::u16string content;
    document.getString(u"content", content);
    if (std::u16string text = contentText(content); !text.empty())
        alert.texts.push_back(std::move(text));

    for (const JSONView& item : listOf(context, u"actions")) {
        Action action;
        item.getString(u"text", action.text);
        if (JSONView message; item.getObject(u"defaultmessage", message))
            action.message = messageOf(message);
        alert.actions.push_back(std::move(action));
    }
    for (const JSONView& item : listOf(context, u"options")) {
        Option option;
        item.getString(u"text", option.text);
        item.getBool(u"selected", option.selected);
        alert.options.push_back(std::move(option));
    }
    alert.timeoutMessages = messagesOf(context, u"timeoutactions");
    alert.dismissalMessages = messagesOf(context, u"dismissalactions");
    return alert;
}

}  // namespace Host
