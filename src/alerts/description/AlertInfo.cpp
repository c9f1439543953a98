#include "alerts/description/AlertInfo.h"

#include <utility>

#include "json/JSONFormatter.h"
#include "json/JSONTextWriter.h"
#include "text/Number.h"
#include "text/Utf.h"

namespace Vok {

namespace {

bool readPriority(const std::u16string& text, int32_t& priority) {
    if (text.empty() || text.front() != u'P')
        return false;
    const auto number = Ferrow::parseSigned32(std::u16string_view(text).substr(1));
    if (!number || number.value < 1 || number.value > 3)
        return false;
    priority = number.value;
    return true;
}

bool readSource(const std::u16string& text, AlertSource& source) {
    if (text == u"client")
        source = AlertSource::Client;
    else if (text == u"web")
        source = AlertSource::Web;
    else
        return false;
    return true;
}

std::u16string_view sourceText(AlertSource source) {
    switch (source) {
        case AlertSource::Client:
            return u"client";
        case AlertSource::Web:
            return u"web";
    }
    return u"unknown";
}

}  // namespace

AlertInfo::AlertInfo(AlertInfo&& other) noexcept {
    *this = std::move(other);
}

AlertInfo& AlertInfo::operator=(AlertInfo&& other) noexcept {
    if (this == &other)
        return *this;
    // A plain move may leave a text of the source as it was.
    id = std::exchange(other.id, {});
    instanceId = std::exchange(other.instanceId, {});
    priority = other.priority;
    product = std::exchange(other.product, {});
    source = other.source;
    preferredViewer = std::exchange(other.preferredViewer, {});
    forcePreferredViewer = other.forcePreferredViewer;
    context = std::exchange(other.context, {});
    content = std::exchange(other.content, {});
    timeout = other.timeout;
    sessionId = other.sessionId;
    return *this;
}

bool AlertInfo::fromJson(const std::u16string& text) {
    Tavix::JSONFormatter document;
    if (!document.parse(text))
        return false;
    const Tavix::JSONView json = document.view();
    std::u16string word;
    if (!json.getString(u"id", id) || !json.getString(u"instanceId", instanceId) ||
        !json.getString(u"priority", word) || !readPriority(word, priority) ||
        !json.getString(u"product", product))
        return false;
    json.getString(u"content", content);
    json.getUInt32(u"timeout", timeout);
    json.getUInt32(u"sessionId", sessionId);
    Tavix::JSONView object;
    if (!json.getString(u"source", word) || !readSource(word, source) ||
        !json.getBool(u"forcePreferredViewer", forcePreferredViewer) ||
        !json.getStringArray(u"preferredViewer", preferredViewer) || !json.getObject(u"context", object))
        return false;
    context = object.toString();
    return true;
}

std::u16string AlertInfo::toJson() const {
    constexpr size_t keysAndNumbers = 256;
    Tavix::JSONTextSink sink(keysAndNumbers + id.size() + instanceId.size() + product.size() +
                             content.size() + content.size() / 8 + context.size());
    Tavix::JSONTextWriter json(sink);
    json.StartObject();
    json.Key(u"id");
    json.String(id);
    json.Key(u"instanceId");
    json.String(instanceId);
    json.Key(u"priority");
    json.String(u"P" + Ferrow::decimalSigned(priority));
    json.Key(u"product");
    json.String(product);
    json.Key(u"content");
    json.String(content);
    json.Key(u"timeout");
    json.Uint(timeout);
    json.Key(u"sessionId");
    json.Uint(sessionId);
    json.Key(u"source");
    json.String(sourceText(source));
    json.Key(u"forcePreferredViewer");
    json.Bool(forcePreferredViewer);
    if (!preferredViewer.empty()) {
        json.Key(u"preferredViewer");
        json.StartArray();
        for (const std::u16string& viewer : preferredViewer)
            json.String(viewer);
        json.EndArray();
    }
    json.Key(u"context");
    json.ObjectText(context);
    json.EndObject();
    return sink.take();
}

}  // namespace Vok
