#include "host/program/product/AlertFile.h"

#include <algorithm>
#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <brevant/alerts.h>

#include "host/program/product/InputFile.h"
#include "json/JSONExponents.h"
#include "text/Utf.h"

namespace Host {
namespace {

using Tavix::JSONView;

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

// Where and why the text is no JSON; empty when nothing is found.
std::u16string syntaxError(std::string_view bytes) {
    const std::string text = Tavix::withShortExponents(bytes);
    rapidjson::MemoryStream stream(text.data(), text.size());
    rapidjson::BaseReaderHandler<> ignore;
    rapidjson::Reader reader;
    const auto result =
        reader.Parse<rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag>(stream, ignore);
    if (!result.IsError())
        return {};
    const std::string_view before = bytes.substr(0, std::min(result.Offset(), bytes.size()));
    const auto line = static_cast<uint64_t>(std::count(before.begin(), before.end(), '\n')) + 1;
    const size_t lineBegin = before.rfind('\n') + 1;
    return u"line " + Ferrow::decimal(line) + u", byte " + Ferrow::decimal(before.size() - lineBegin + 1) +
           u": " + Ferrow::toUtf16(rapidjson::GetParseError_En(result.Code()));
}

// What the broker would refuse about the members, in the order in which it reads them.
std::u16string memberError(const JSONView& alert) {
    const auto must = [&alert](std::u16string_view name, const std::u16string& what) {
        return std::u16string(alert.find(name) ? u"member \"" : u"required member \"") +
               std::u16string(name) +
               (alert.find(name) ? u"\" must be " + what : std::u16string(u"\" is missing"));
    };
    std::u16string text;
    bool flag = false;
    if (!alert.getString(BREVANT_DESCRIPTION_ID, text))
        return must(BREVANT_DESCRIPTION_ID, u"a text");
    if (text.find_first_of(patternUnits) != text.npos || text.find(u'\0') != text.npos)
        return u"member \"id\" must not hold any of ^ $ \\ * + ? ( ) [ ] | or a zero character";
    if (alert.find(BREVANT_DESCRIPTION_INSTANCE_ID) &&
        !alert.getString(BREVANT_DESCRIPTION_INSTANCE_ID, text))
        return must(BREVANT_DESCRIPTION_INSTANCE_ID, u"a text");
    if (!alert.getString(BREVANT_DESCRIPTION_PRIORITY, text) ||
        (text != u"P1" && text != u"P2" && text != u"P3"))
        return must(BREVANT_DESCRIPTION_PRIORITY, u"\"P1\", \"P2\" or \"P3\"");
    if (!alert.getString(BREVANT_DESCRIPTION_PRODUCT, text))
        return must(BREVANT_DESCRIPTION_PRODUCT, u"a text");
    if (!alert.getString(BREVANT_DESCRIPTION_SOURCE, text) ||
        (text != BREVANT_SOURCE_CLIENT && text != BREVANT_SOURCE_WEB))
        return must(BREVANT_DESCRIPTION_SOURCE, u"\"client\" or \"web\"");
    if (!alert.getBool(BREVANT_DESCRIPTION_FORCE_PREFERRED_VIEWER, flag))
        return must(BREVANT_DESCRIPTION_FORCE_PREFERRED_VIEWER, u"true or false");
    std::vector<std::u16string> viewers;
    if (!alert.getStringArray(BREVANT_DESCRIPTION_PREFERRED_VIEWER, viewers))
        return must(BREVANT_DESCRIPTION_PREFERRED_VIEWER, u"a list of texts");
    JSONView context;
    if (!alert.getObject(BREVANT_DESCRIPTION_CONTEXT, context))
        return must(BREVANT_DESCRIPTION_CONTEXT, u"an object");
    return {};
}

}  // namespace

bool AlertFile::read(const std::u16string& path, std::u16string& error) {
    std::string bytes;
    return readInput(path, maximumAlertFile + 1, bytes, error) && parse(bytes, inputName(path), error);
}

bool AlertFile::parse(std::string_view bytes, const std::u16string& name, std::u16string& error) {
    const auto refuse = [&](const std::u16string& what) {
        error = u"\"" + name + u"\" is no alert: " + what;
        return false;
    };
    if (bytes.size() > maximumAlertFile)
        return refuse(u"it is larger than 4 MiB");
    if (bytes.starts_with(byteOrderMark))
        bytes.remove_prefix(byteOrderMark.size());
    if (const std::u16string wrong = syntaxError(bytes); !wrong.empty())
        return refuse(wrong);
    if (!document_.parse(Ferrow::toUtf16(bytes)))
        return refuse(bytes.find_first_not_of(" \t\r\n") != bytes.npos &&
                              bytes[bytes.find_first_not_of(" \t\r\n")] == '{'
                          ? u"it nests too deeply"
                          : u"it must be one JSON object");
    const JSONView alert = document_.view();
    if (const std::u16string wrong = memberError(alert); !wrong.empty())
        return refuse(wrong);
    alert.getString(BREVANT_DESCRIPTION_ID, id_);
    alert.getString(BREVANT_DESCRIPTION_PRODUCT, product_);
    alert.getUInt32(BREVANT_DESCRIPTION_SESSION_ID, sessionId_);
    uint32_t seconds = 0;
    if (alert.getUInt32(BREVANT_DESCRIPTION_TIMEOUT, seconds))
        timeout_ = std::chrono::seconds(seconds);
    return true;
}

std::u16string AlertFile::description(const std::u16string& instance) const {
    Tavix::JSONFormatter copy(document_);
    copy.setString(BREVANT_DESCRIPTION_INSTANCE_ID, instance);
    return copy.toString();
}

}  // namespace Host
