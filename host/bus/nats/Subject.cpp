#include "host/bus/nats/Subject.h"

#include <algorithm>
#include <cstdint>
#include <optional>

#include "text/PatternHead.h"
#include "text/PatternSyntax.h"

namespace MessageBus {

namespace {

// Leaves room for words behind a head, whatever the name.
constexpr size_t longestHead = 2000;
constexpr char16_t separator = u'.';

bool isPlain(uint32_t unit) noexcept {
    return (unit >= 'A' && unit <= 'Z') || (unit >= 'a' && unit <= 'z') || (unit >= '0' && unit <= '9') ||
           unit == '_' || unit == '{' || unit == '}' || unit == '/' || unit == '-';
}

void appendDigits(std::string& text, uint64_t number, int digits) {
    for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4)
        text += "0123456789ABCDEF"[(number >> shift) & 15];
}

void appendByte(std::string& text, uint32_t byte) {
    if (isPlain(byte)) {
        text += static_cast<char>(byte);
        return;
    }
    text += '%';
    appendDigits(text, byte, 2);
}

bool isSurrogate(char16_t unit, bool low) noexcept {
    return (unit & 0xFC00) == (low ? 0xDC00 : 0xD800);
}

// Stops soon after the limit.
void appendWord(std::string& text, std::u16string_view word, size_t limit) {
    if (word.empty())
        text += "%E";
    for (size_t i = 0; i < word.size() && text.size() <= limit; ++i) {
        uint32_t point = word[i];
        if (isSurrogate(word[i], false) && i + 1 < word.size() && isSurrogate(word[i + 1], true)) {
            point = 0x10000 + ((point & 0x3FF) << 10) + (word[++i] & 0x3FFu);
        } else if ((point & 0xF800) == 0xD800) {
            text += "%u";
            appendDigits(text, point, 4);
            continue;
        }
        if (point < 0x80) {
            appendByte(text, point);
            continue;
        }
        const int more = point < 0x800 ? 1 : point < 0x10000 ? 2 : 3;
        constexpr uint32_t leading[] = {0, 0xC0, 0xE0, 0xF0};
        appendByte(text, leading[more] | point >> (6 * more));
        for (int shift = 6 * (more - 1); shift >= 0; shift -= 6)
            appendByte(text, 0x80 | (point >> shift & 0x3F));
    }
}

// The literal text that "head\..+" or "head\..*" begins with; nothing for any other pattern.
std::optional<std::u16string> wholeHead(std::u16string_view pattern) {
    using namespace Ferrow::PatternSyntax;
    constexpr std::u16string_view anyWords[] = {u"\\..+", u"\\..*"};
    if (!pattern.ends_with(anyWords[0]) && !pattern.ends_with(anyWords[1]))
        return std::nullopt;
    pattern.remove_suffix(anyWords[0].size());
    std::u16string head;
    for (size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] == u'\\' && i + 1 < pattern.size() && isPunctuation(pattern[i + 1]))
            ++i;
        else if (isSpecial(pattern[i]))
            return std::nullopt;
        head += pattern[i];
    }
    return head;
}

}  // namespace

uint64_t fnv1a64(std::u16string_view name) noexcept {
    uint64_t hash = 0xCBF29CE484222325;
    for (const char16_t unit : name)
        for (const uint64_t byte : {uint64_t{unit} & 0xFF, uint64_t{unit} >> 8})
            hash = (hash ^ byte) * 0x100000001B3;
    return hash;
}

std::string subjectOf(std::u16string_view name) {
    std::string subject;
    for (size_t at = 0; at <= name.size();) {
        const size_t end = std::min(name.find(separator, at), name.size());
        const size_t before = subject.size();
        if (at != 0)
            subject += '.';
        appendWord(subject, name.substr(at, end - at), longestSubject);
        if (subject.size() > longestSubject) {
            subject.resize(before);
            subject += before == 0 ? "%L" : ".%L";
            appendDigits(subject, fnv1a64(name), 16);
            break;
        }
        at = end + 1;
    }
    return subject;
}

PatternSubject patternSubject(std::u16string_view pattern) {
    if (const auto whole = wholeHead(pattern)) {
        std::string head = subjectOf(*whole);
        if (head.size() <= longestHead)
            return {std::move(head), true};
    }
    const Ferrow::PatternHead head = Ferrow::patternHead(pattern);
    std::u16string_view literal = head.units;
    if (!head.wildcards.empty())
        literal = literal.substr(0, head.wildcards.front());
    const size_t last = literal.rfind(separator);
    return {last == literal.npos ? std::string() : subjectOf(literal.substr(0, last)), false};
}

}  // namespace MessageBus
