#include "host/bus/nats/ServerAddress.h"

#include <charconv>

namespace MessageBus {

namespace {

constexpr std::string_view scheme = "nats://";

std::optional<std::string> percentDecoded(std::string_view text) {
    std::string decoded;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            decoded += text[i];
            continue;
        }
        unsigned char byte = 0;
        const char* const digits = text.data() + i + 1;
        if (text.size() - i < 3 || std::from_chars(digits, digits + 2, byte, 16).ptr != digits + 2)
            return std::nullopt;
        decoded += static_cast<char>(byte);
        i += 2;
    }
    return decoded;
}

// "127.1.2.3", each number below 256.
bool isLoopback4(std::string_view host) {
    const char* at = host.data();
    const char* const end = at + host.size();
    for (int part = 0; part < 4; ++part) {
        uint8_t number = 0;
        const auto [stopped, error] = std::from_chars(at, end, number);
        if (error != std::errc() || (part == 0 && number != 127) ||
            (part < 3 && (stopped == end || *stopped != '.')))
            return false;
        at = stopped + (part < 3 ? 1 : 0);
    }
    return at == end;
}

}  // namespace

std::optional<ServerAddress> ServerAddress::parse(std::string_view url, std::u16string& why) {
    ServerAddress address;
    if (!url.starts_with(scheme)) {
        why = u"it does not begin with nats://";
        return std::nullopt;
    }
    url.remove_prefix(scheme.size());
    if (const size_t at = url.rfind('@'); at != url.npos) {
        const std::string_view account = url.substr(0, at);
        const size_t colon = account.find(':');
        const auto user = percentDecoded(account.substr(0, colon));
        const auto password =
            percentDecoded(colon == account.npos ? std::string_view() : account.substr(colon + 1));
        if (!user || user->empty() || !password) {
            why = u"user and password cannot be read";
            return std::nullopt;
        }
        address.credentials = {*user, *password};
        url.remove_prefix(at + 1);
    }
    if (url.ends_with('/'))
        url.remove_suffix(1);
    const size_t colon = url.rfind(':');
    const std::string_view port = colon == url.npos ? std::string_view() : url.substr(colon + 1);
    const auto [stopped, error] = std::from_chars(port.data(), port.data() + port.size(), address.port);
    if (port.empty() || error != std::errc() || stopped != port.data() + port.size() || address.port == 0) {
        why = u"it does not end with a port";
        return std::nullopt;
    }
    const std::string_view host = url.substr(0, colon);
    if (host == "localhost")
        address.host = "127.0.0.1";
    else if (host == "[::1]")
        address.host = "::1";
    else if (isLoopback4(host))
        address.host = host;
    else {
        why = u"the server must be on this machine, at a loopback address such as 127.0.0.1";
        return std::nullopt;
    }
    return address;
}

std::string ServerAddress::text() const {
    return (host.find(':') == host.npos ? host : "[" + host + "]") + ":" + std::to_string(port);
}

}  // namespace MessageBus
