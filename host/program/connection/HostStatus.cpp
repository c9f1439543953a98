#include "host/program/connection/HostStatus.h"

#include <algorithm>

#include <brevant/alerts.h>

#include "text/Format.h"
#include "text/Utf.h"

namespace Host {
namespace {

using Tavix::JSONFormatter;
using Tavix::JSONView;

template <class Item, class Write>
void putAll(JSONFormatter& status, const std::u16string& name, const std::vector<Item>& items, Write write) {
    std::vector<JSONFormatter> objects(items.size());
    for (size_t at = 0; at < items.size(); ++at)
        write(objects[at], items[at]);
    status.setObjectArray(name, objects);
}

template <class Item, class Read>
void getAll(const JSONView& status, std::u16string_view name, std::vector<Item>& items, Read read) {
    std::vector<JSONView> objects;
    status.getObjectArray(name, objects);
    for (const JSONView& object : objects)
        read(object, items.emplace_back());
}

}  // namespace

JSONFormatter HostStatus::toJson() const {
    JSONFormatter status;
    status.setUInt32(u"process", process);
    status.setString(u"start", start);
    status.setString(u"version", version);
    status.setString(u"bus", bus);
    status.setUInt32(u"uptime", uptimeSeconds);
    putAll(status, u"viewers", viewers, [](JSONFormatter& out, const Viewer& viewer) {
        out.setString(u"id", viewer.id);
        out.setBool(u"asked", viewer.isAsked);
        if (viewer.lastSignSeconds)
            out.setUInt32(u"lastSign", *viewer.lastSignSeconds);
    });
    putAll(status, u"sessions", sessions, [](JSONFormatter& out, const Session& session) {
        out.setUInt32(u"id", session.id);
        out.setString(u"state", session.state);
    });
    putAll(status, u"plugins", plugins, [](JSONFormatter& out, const Plugin& plugin) {
        out.setString(u"product", plugin.product);
        out.setString(u"file", plugin.file);
    });
    status.setUInt32(u"waiting", waiting);
    status.setUInt32(u"shown", shown);
    putAll(status, u"alerts", alerts, [](JSONFormatter& out, const Alert& alert) {
        out.setString(u"instance", alert.instance);
        out.setString(u"id", alert.id);
        out.setString(u"title", alert.title);
        out.setString(u"priority", alert.priority);
        out.setUInt32(u"session", alert.session);
        out.setBool(u"shown", alert.isShown);
        out.setUInt32(u"seconds", alert.seconds);
        out.setString(u"likeness", alert.likeness);
    });
    return status;
}

std::optional<HostStatus> HostStatus::parse(const std::u16string& text) {
    JSONFormatter document;
    HostStatus status;
    if (!document.parse(text) || !document.getUInt32(u"process", status.process))
        return std::nullopt;
    const JSONView view = document.view();
    view.getString(u"start", status.start);
    view.getString(u"version", status.version);
    view.getString(u"bus", status.bus);
    view.getUInt32(u"uptime", status.uptimeSeconds);
    view.getUInt32(u"waiting", status.waiting);
    view.getUInt32(u"shown", status.shown);
    getAll(view, u"viewers", status.viewers, [](const JSONView& in, Viewer& viewer) {
        in.getString(u"id", viewer.id);
        in.getBool(u"asked", viewer.isAsked);
        if (uint32_t seconds = 0; in.getUInt32(u"lastSign", seconds))
            viewer.lastSignSeconds = seconds;
    });
    getAll(view, u"sessions", status.sessions, [](const JSONView& in, Session& session) {
        in.getUInt32(u"id", session.id);
        in.getString(u"state", session.state);
    });
    getAll(view, u"plugins", status.plugins, [](const JSONView& in, Plugin& plugin) {
        in.getString(u"product", plugin.product);
        in.getString(u"file", plugin.file);
    });
    getAll(view, u"alerts", status.alerts, [](const JSONView& in, Alert& alert) {
        in.getString(u"instance", alert.instance);
        in.getString(u"id", alert.id);
        in.getString(u"title", alert.title);
        in.getString(u"priority", alert.priority);
        in.getUInt32(u"session", alert.session);
        in.getBool(u"shown", alert.isShown);
        in.getUInt32(u"seconds", alert.seconds);
        in.getString(u"likeness", alert.likeness);
    });
    return status;
}

bool HostStatus::hasViewer(std::u16string_view id) const {
    return std::ranges::any_of(viewers, [&](const Viewer& viewer) { return viewer.id == id; });
}

std::u16string likenessOf(const JSONView& description) {
    constexpr size_t mostActions = 4;  // with more, no two alerts are the same
    JSONView context;
    std::u16string text;
    std::vector<JSONView> actions;
    if (!description.getObject(BREVANT_DESCRIPTION_CONTEXT, context) ||
        !context.getString(BREVANT_CONTEXT_TITLE, text) ||
        !context.getObjectArray(BREVANT_CONTEXT_ACTIONS, actions) || actions.size() > mostActions)
        return {};
    uint64_t hash = 14695981039346656037u;
    const auto add = [&hash](const std::u16string& part) {
        for (const char16_t unit : part)
            hash = (hash ^ unit) * 1099511628211u;
        hash = (hash ^ 0x10000) * 1099511628211u;
    };
    add(text);
    for (const std::u16string_view member :
         {BREVANT_CONTEXT_DEFAULT_CONTENT, BREVANT_CONTEXT_DETAILS_CONTENT}) {
        text.clear();
        context.getString(member, text);
        add(text);
    }
    for (const JSONView& action : actions) {
        text.clear();
        action.getString(BREVANT_ACTION_TEXT, text);
        add(text);
    }
    return Ferrow::formatText(u"%016llx", hash);
}

}  // namespace Host
