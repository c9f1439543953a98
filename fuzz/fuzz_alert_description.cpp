// Any text as a description and as a context: what is accepted survives being written and read again, and
// texts and documents agree with the library's own recursive parser and writer.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <rapidjson/stringbuffer.h>

#include "alerts/description/AlertContext.h"
#include "alerts/description/AlertInfo.h"
#include "json/JSONFormatter.h"
#include "json/JSONTextWriter.h"

namespace {

using PlainDocument = rapidjson::GenericDocument<Tavix::JSONEncoding>;

void require(bool condition, const char* what) {
    if (condition)
        return;
    std::fprintf(stderr, "violated: %s\n", what);
    std::abort();
}

// The first byte chooses between one byte and two for each unit.
std::u16string textOf(const uint8_t* data, size_t size) {
    std::u16string text;
    if (size == 0)
        return text;
    if (data[0] != 0xFF)
        return std::u16string(data, data + size);
    text.resize((size - 1) / sizeof(char16_t));
    std::memcpy(text.data(), data + 1, text.size() * sizeof(char16_t));
    return text;
}

// Empty for a number that is not finite, which the reader lets pass and the writer stops at.
std::u16string plainText(const PlainDocument& document) {
    using Buffer = rapidjson::GenericStringBuffer<Tavix::JSONEncoding>;
    Buffer buffer;
    rapidjson::Writer<Buffer, Tavix::JSONEncoding, Tavix::JSONEncoding> writer(buffer);
    if (!document.Accept(writer))
        return {};
    return {buffer.GetString(), buffer.GetSize() / sizeof(char16_t)};
}

void compareWithPlainDocument(const std::u16string& text) {
    if (text.find(u'\0') != std::u16string::npos || text.size() > 4096)
        return;
    size_t open = 0;
    for (const char16_t unit : text)
        open += unit == u'[' || unit == u'{';
    if (open > Tavix::maximumJsonDepth)
        return;
    PlainDocument plain;
    plain.Parse(text.c_str());
    Tavix::JSONFormatter formatter;
    const std::u16string expected = plain.HasParseError() ? std::u16string() : plainText(plain);
    const bool accepted = !expected.empty() && plain.IsObject();
    require(formatter.parse(text) == accepted, "one grammar");
    if (!accepted)
        return;
    const std::u16string written = formatter.toString();
    require(written == expected, "one way of writing");
    Tavix::JSONTextSink sink;
    Tavix::JSONTextWriter writer(sink);
    require(writer.ObjectText(text), "an object text is accepted without a document");
    require(sink.take() == written, "an object text is written alike without a document");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::u16string text = textOf(data, size);
    compareWithPlainDocument(text);

    Vok::AlertContext context;
    context.fromJson(text);

    Vok::AlertInfo info;
    if (!info.fromJson(text))
        return 0;
    Vok::AlertContext inner;
    inner.fromJson(info.context);
    Vok::AlertInfo again;
    require(again.fromJson(info.toJson()), "what is written can be read");
    require(again.id == info.id && again.instanceId == info.instanceId && again.priority == info.priority &&
                again.product == info.product && again.source == info.source &&
                again.content == info.content && again.forcePreferredViewer == info.forcePreferredViewer &&
                again.timeout == info.timeout && again.preferredViewer == info.preferredViewer &&
                again.sessionId == info.sessionId,
            "values survive");
    return 0;
}
