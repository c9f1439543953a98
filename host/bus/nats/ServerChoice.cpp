#include "host/bus/nats/ServerChoice.h"

#include "host/bus/nats/ConnectionFile.h"
#include "platform/Files.h"
#include "platform/Process.h"
#include "platform/Registry.h"
#include "text/Utf.h"

namespace MessageBus {

namespace {

struct Value {
    std::u16string text;
    std::u16string origin;
};

std::optional<Value> valueFor(const ConnectionFile& at, const ConnectionFile::Reading& file) {
    if (auto value = Platform::environmentVariable("BREVANT_BUS"); value && !value->empty())
        return Value{*value, u"the environment's BREVANT_BUS"};
    if (const auto key = Platform::Registry::system().openKey(u"SOFTWARE\\CORVANE\\OSTREL"))
        if (const auto value = key->readText(u"Bus"); value && !value->empty())
            return Value{*value, u"\"Bus\" in the registry"};
    switch (file.state) {
        case ConnectionFile::State::absent:
            return std::nullopt;
        case ConnectionFile::State::unreadable:
            return Value{u"", at.path()};
        case ConnectionFile::State::present:
            break;
    }
    return Value{Ferrow::toUtf16(file.content.url), at.path()};
}

std::string roleOr(std::string_view role) {
    if (!role.empty())
        return std::string(role);
    const auto named = Platform::environmentVariable("BREVANT_BUS_ROLE");
    return named && !named->empty() ? Ferrow::toUtf8(*named) : "product";
}

bool isUrlOf(const std::string& url, const ServerAddress& server) {
    std::u16string ignored;
    const auto named = ServerAddress::parse(url, ignored);
    return named && named->text() == server.text();
}

}  // namespace

ServerChoice chooseServer(std::string_view role) {
    const ConnectionFile at;
    const ConnectionFile::Reading file = at.read();
    const std::optional<Value> value = valueFor(at, file);
    ServerChoice choice;
    if (!value)
        return choice;
    choice.origin = value->origin;
    if (value->text == u"embedded")
        return choice;
    std::u16string why;
    choice.server = ServerAddress::parse(Ferrow::toUtf8(value->text), why);
    if (!choice.server) {
        choice.fault =
            u"what " + value->origin + u" says is neither embedded nor the address of a server: " + why;
        return choice;
    }
    if (!choice.server->credentials.user.empty())
        return choice;
    const std::string playing = roleOr(role);
    auto credentials = at.readCredentials(playing);
    const bool isTheHosts = isUrlOf(file.content.url, *choice.server);
    if (!credentials && isTheHosts && Platform::fileExists(at.credentialsPath(playing))) {
        choice.fault = u"the role \"" + Ferrow::toUtf16(playing) +
                       u"\" is for whom may read its password, in " + at.credentialsPath(playing);
        choice.server.reset();
    } else if (credentials && (credentials->server.empty() || isUrlOf(credentials->server, *choice.server))) {
        choice.server->credentials = *std::move(credentials);
    }
    return choice;
}

}  // namespace MessageBus
