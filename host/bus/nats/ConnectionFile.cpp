#include "host/bus/nats/ConnectionFile.h"

#include <algorithm>
#include <charconv>
#include <map>

#include "platform/Files.h"
#include "platform/Folders.h"
#include "platform/Process.h"
#include "text/Utf.h"

namespace MessageBus {

namespace {

constexpr size_t mostBytes = 64 * 1024;

using Lines = std::map<std::string, std::string, std::less<>>;

// Nothing when a line is not of the form. Empty lines are passed over, as what other programs add is.
std::optional<Lines> linesOf(const std::string& text) {
    if (!Ferrow::isUtf8(text))
        return std::nullopt;
    Lines lines;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find('\n', at), text.size());
        const std::string_view line = Ferrow::trimmed(std::string_view(text).substr(at, end - at));
        at = end + 1;
        if (line.empty())
            continue;
        const size_t equals = line.find('=');
        if (equals == line.npos)
            return std::nullopt;
        lines[std::string(line.substr(0, equals))] = line.substr(equals + 1);
    }
    return lines;
}

std::optional<std::string> valueOf(const Lines& lines, std::string_view key) {
    const auto found = lines.find(key);
    return found == lines.end() ? std::nullopt : std::optional(found->second);
}

std::optional<uint32_t> numberOf(const Lines& lines, std::string_view key) {
    const std::optional<std::string> text = valueOf(lines, key);
    uint32_t number = 0;
    if (!text)
        return std::nullopt;
    const char* const end = text->data() + text->size();
    const auto [stopped, error] = std::from_chars(text->data(), end, number);
    return error == std::errc() && stopped == end ? std::optional(number) : std::nullopt;
}

// Tells a process from the next one with its id.
std::string startOf(uint32_t process) {
    return std::to_string(Platform::processStart(process));
}

bool isOneLine(std::string_view text) {
    return text.find_first_of(std::string_view("\r\n\0", 3)) == text.npos;
}

}  // namespace

ConnectionFile::ConnectionFile() : folder_(Platform::commonDataFolder() + u"\\Corvane\\Brevant\\bus") {}

ConnectionFile::Reading ConnectionFile::read() const {
    const std::optional<std::string> text = Platform::readFile(path(), mostBytes);
    if (!text)
        return {Platform::fileExists(path()) ? State::unreadable : State::absent};
    const std::optional<Lines> lines = linesOf(*text);
    if (!lines)
        return {State::unreadable};
    const auto url = valueOf(*lines, "url");
    const auto server = numberOf(*lines, "server");
    const auto host = numberOf(*lines, "host");
    if (!url || url->empty() || !host)
        return {State::unreadable};
    const std::optional<std::string> start = valueOf(*lines, "start");
    const std::string running = startOf(*host);
    if (!Platform::processExists(*host) || (start && *start != running && *start != "0" && running != "0"))
        return {State::absent};
    return {State::present, {*url, server.value_or(0), *host}};
}

bool ConnectionFile::write(const Content& content) const {
    return isOneLine(content.url) && Platform::createFolders(folder_) &&
           Platform::writeFileAtomically(
               path(), "url=" + content.url + "\nserver=" + std::to_string(content.server) + "\nhost=" +
                           std::to_string(content.host) + "\nstart=" + startOf(content.host) + "\n");
}

void ConnectionFile::remove(uint32_t host) const {
    const std::optional<std::string> text = Platform::readFile(path(), mostBytes);
    const std::optional<Lines> lines = text ? linesOf(*text) : std::nullopt;
    if (lines && numberOf(*lines, "host") == host)
        Platform::removeFile(path());
}

std::optional<Credentials> ConnectionFile::readCredentials(std::string_view role) const {
    const std::u16string file = credentialsPath(role);
    const std::optional<std::string> text = file.empty() ? std::nullopt : Platform::readFile(file, mostBytes);
    const std::optional<Lines> lines = text ? linesOf(*text) : std::nullopt;
    if (!lines)
        return std::nullopt;
    const auto user = valueOf(*lines, "user");
    const auto password = valueOf(*lines, "password");
    return user && password
               ? std::optional(Credentials{*user, *password, valueOf(*lines, "server").value_or("")})
               : std::nullopt;
}

bool ConnectionFile::writeCredentials(std::string_view role, const Credentials& credentials) const {
    const std::u16string file = credentialsPath(role);
    std::string text = "user=" + credentials.user + "\npassword=" + credentials.password + "\n";
    if (!credentials.server.empty())
        text += "server=" + credentials.server + "\n";
    return !file.empty() && isOneLine(credentials.user) && isOneLine(credentials.password) &&
           isOneLine(credentials.server) && Platform::createFolders(folder_) &&
           Platform::writeFileAtomically(file, text, Platform::FileReaders::ownAccount);
}

std::u16string ConnectionFile::credentialsPath(std::string_view role) const {
    const bool isRole = !role.empty() && std::ranges::all_of(role, [](char unit) {
        return (unit >= 'a' && unit <= 'z') || (unit >= 'A' && unit <= 'Z') || (unit >= '0' && unit <= '9') ||
               unit == '-' || unit == '_';
    });
    return isRole ? folder_ + u"\\" + Ferrow::toUtf16(role) + u".credentials" : std::u16string();
}

}  // namespace MessageBus
