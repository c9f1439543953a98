#include "alerts/description/AlertInfo.h"

#include <utility>

#include <brevant/alerts.h>

#include "json/JSONFormatter.h"
#include "json/JSONTextWriter.h"
#include "text/Number.h"
#include "text/Utf.h"

namespace Vok {

namespace {

bool readPriority(const std::u16string& text, int32_t& priority) {
    if (text.empty() || text.front() != u'P')
        return false;
    const auto number = Ferrow::parseSigned32(std::u16string_view(text).substr(1));  // compat
    if (!number || number.value < 1 || number.value > 3)
        return false;
    priority = number.value;
    return true;
}

bool readSource(const std::u16string& text, AlertSource& source) {
    if (text == BREVANT_SOURCE_CLIENT)
        source = AlertSource::Client;
    else if (text == BREVANT_SOURCE_WEB)
        source = AlertSource::Web;
    else
        return false;
    return true;
}

std::u16string_view sourceText(AlertSource source) {
    switch (source) {
        case AlertSource::Client:
            return BREVANT_SOURCE_CLIENT;
        case AlertSource::Web:
            return BREVANT_SOURCE_WEB;
    }
    return u"unknown";  // compat
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
    context = std::move(other.context);
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
    if (!json.getString(BREVANT_DESCRIPTION_ID, id) ||
        !json.getString(BREVANT_DESCRIPTION_INSTANCE_ID, instanceId) ||
        !json.getString(BREVANT_DESCRIPTION_PRIORITY, word) || !readPriority(word, priority) ||
        !json.getString(BREVANT_DESCRIPTION_PRODUCT, product))
        return false;
    json.getString(BREVANT_DESCRIPTION_CONTENT, content);
    json.getUInt32(BREVANT_DESCRIPTION_TIMEOUT, timeout);
    json.getUInt32(BREVANT_DESCRIPTION_SESSION_ID, sessionId);
    Tavix::JSONView object;
    if (!json.getString(BREVANT_DESCRIPTION_SOURCE, word) || !readSource(word, source) ||
        !json.getBool(BREVANT_DESCRIPTION_FORCE_PREFERRED_VIEWER, forcePreferredViewer) ||  // compat
        !json.getStringArray(BREVANT_DESCRIPTION_PREFERRED_VIEWER, preferredViewer) ||
        !json.getObject(BREVANT_DESCRIPTION_CONTEXT, object))
        return false;
    context = ContextText(object, text.size());
    return true;
}

bool AlertInfo::readsBack() const noexcept {
    return priority >= 1 && priority <= 3 && (source == AlertSource::Client || source == AlertSource::Web) &&
           context.isWritten();
}

std::u16string AlertInfo::toJson() const {
    constexpr size_t keysAndNumbers = 256;
    Tavix::JSONTextSink sink(keysAndNumbers + id.size() + instanceId.size() + product.size() +
                             content.size() + content.size() / 8 + context.text().size());
    Tavix::JSONTextWriter json(sink);
    json.StartObject();
    json.Key(BREVANT_DESCRIPTION_ID);
    json.String(id);
    json.Key(BREVANT_DESCRIPTION_INSTANCE_ID);
    json.String(instanceId);
    json.Key(BREVANT_DESCRIPTION_PRIORITY);
    json.String(u"P" + Ferrow::decimalSigned(priority));
    json.Key(BREVANT_DESCRIPTION_PRODUCT);
    json.String(product);
    json.Key(BREVANT_DESCRIPTION_CONTENT);
    json.String(content);
    json.Key(BREVANT_DESCRIPTION_TIMEOUT);
    json.Uint(timeout);
    json.Key(BREVANT_DESCRIPTION_SESSION_ID);
    json.Uint(sessionId);
    json.Key(BREVANT_DESCRIPTION_SOURCE);
    json.String(sourceText(source));
    json.Key(BREVANT_DESCRIPTION_FORCE_PREFERRED_VIEWER);
    json.Bool(forcePreferredViewer);
    if (!preferredViewer.empty()) {  // compat
        json.Key(BREVANT_DESCRIPTION_PREFERRED_VIEWER);
        json.StartArray();
        for (const std::u16string& viewer : preferredViewer)
            json.String(viewer);
        json.EndArray();
    }
    json.Key(BREVANT_DESCRIPTION_CONTEXT);
    if (context.isStable())
        json.WrittenObject(context.text());
    else
        json.ObjectText(context);
    json.EndObject();
    return sink.take();
}

}  // namespace Vok
