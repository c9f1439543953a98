#include "host/bus/nats/ServerParser.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>

namespace MessageBus {

namespace {

constexpr std::string_view lineEnd = "\r\n";

// The words of a line; more than five are never wanted.
struct Words {
    std::array<std::string_view, 6> at;
    size_t count = 0;

    explicit Words(std::string_view line) {
        while (count < at.size()) {
            const size_t begin = line.find_first_not_of(" \t");
            if (begin == line.npos)
                return;
            const size_t end = std::min(line.find_first_of(" \t", begin), line.size());
            at[count++] = line.substr(begin, end - begin);
            line.remove_prefix(end);
        }
    }
};

std::optional<size_t> numberOf(std::string_view text) {
    size_t number = 0;
    const auto [stopped, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || stopped != text.data() + text.size())
        return std::nullopt;
    return number;
}

// "NATS/1.0 503 ..." at the beginning of headers.
int statusOf(std::string_view headers) {
    constexpr std::string_view version = "NATS/1.0 ";
    int status = 0;
    if (headers.starts_with(version))
        std::from_chars(headers.data() + version.size(), headers.data() + headers.size(), status);
    return status;
}

bool isWord(std::string_view text, std::string_view word) {
    return std::ranges::equal(text, word, [](char left, char right) {
        return left == right || (left >= 'a' && left <= 'z' && left - 'a' + 'A' == right);
    });
}

}  // namespace

bool ServerParser::feed(std::string_view bytes, ServerEvents& events) {
    if (violated_)
        return false;
    if (pending_.empty()) {
        bytes.remove_prefix(parse(bytes, events));
        pending_ = bytes;
    } else {
        pending_ += bytes;
        if (pending_.size() < wanted_)
            return true;
        pending_.erase(0, parse(pending_, events));
    }
    if (pending_.empty() && pending_.capacity() > mostLineBytes)
        std::string().swap(pending_);
    return !violated_;
}

size_t ServerParser::parse(std::string_view bytes, ServerEvents& events) {
    size_t used = 0;
    wanted_ = 0;
    while (!violated_ && used < bytes.size()) {
        const std::string_view rest = bytes.substr(used);
        const size_t length = rest.substr(0, mostLineBytes).find(lineEnd);
        if (length == rest.npos) {
            violated_ = rest.size() >= mostLineBytes;
            break;
        }
        const std::string_view line = rest.substr(0, length);
        const size_t blank = std::min(line.find_first_of(" \t"), line.size());
        const std::string_view word = line.substr(0, blank);
        const std::string_view arguments = line.substr(blank);
        size_t taken = length + lineEnd.size();
        if (isWord(word, "MSG") || isWord(word, "HMSG")) {
            size_t body = 0;
            if (!parseMessage(arguments, rest.substr(taken), word.size() == 4, body, events)) {
                if (wanted_ != 0)
                    wanted_ += taken;
                break;
            }
            taken += body;
        } else if (isWord(word, "PING")) {
            events.ping();
        } else if (isWord(word, "PONG")) {
            events.pong();
        } else if (isWord(word, "INFO")) {
            events.info(arguments);
        } else if (isWord(word, "-ERR")) {
            std::string_view text = arguments;
            text.remove_prefix(std::min(text.find_first_not_of(" \t'"), text.size()));
            if (text.ends_with('\''))
                text.remove_suffix(1);
            events.error(text);
        } else if (!isWord(word, "+OK")) {
            violated_ = true;
        }
        used += taken;
    }
    return used;
}

bool ServerParser::parseMessage(std::string_view arguments, std::string_view rest, bool hasHeaders,
                                size_t& used, ServerEvents& events) {
    // subject, subscription, perhaps a reply subject, perhaps the bytes of the headers, bytes of it all
    const Words words(arguments);
    const size_t numbers = hasHeaders ? 2 : 1;
    const bool isOne = words.count == 2 + numbers || words.count == 3 + numbers;
    const auto total = isOne ? numberOf(words.at[words.count - 1]) : std::nullopt;
    const auto headers = isOne && hasHeaders ? numberOf(words.at[words.count - 2]) : std::optional<size_t>(0);
    if (!total || !headers || *headers > *total || *total > mostMessageBytes) {
        violated_ = true;
        return false;
    }
    if (rest.size() < *total + lineEnd.size()) {
        wanted_ = *total + lineEnd.size();
        return false;
    }
    if (rest.substr(*total, lineEnd.size()) != lineEnd) {
        violated_ = true;
        return false;
    }
    ServerMessage message;
    message.subject = words.at[0];
    if (words.count == 3 + numbers)
        message.reply = words.at[2];
    message.status = statusOf(rest.substr(0, *headers));
    message.payload = rest.substr(*headers, *total - *headers);
    events.message(message);
    used = *total + lineEnd.size();
    return true;
}

}  // namespace MessageBus
