#include "host/program/checks/JsonPlaces.h"

#include <algorithm>

namespace Host {
namespace {

constexpr std::u16string_view blanks = u" \t\r\n";

}  // namespace

size_t JsonPlaces::afterBlanks(size_t at) const noexcept {
    return std::min(text_.find_first_not_of(blanks, at), text_.size());
}

size_t JsonPlaces::afterString(size_t at) const noexcept {
    for (++at; at < text_.size() && text_[at] != u'"'; ++at)
        at += text_[at] == u'\\';
    return std::min(at + 1, text_.size());
}

size_t JsonPlaces::afterValue(size_t at) const noexcept {
    size_t depth = 0;
    while (at < text_.size()) {
        const char16_t unit = text_[at];
        if (unit == u'"')
            at = afterString(at);
        else if (unit == u'{' || unit == u'[')
            ++depth, ++at;
        else if (unit == u'}' || unit == u']')
            --depth, ++at;
        else
            at = std::min(text_.find_first_of(u"{}[]\","
                                              " \t\r\n",
                                              at + 1),
                          text_.size());
        if (depth == 0)
            break;
    }
    return at;
}

std::vector<JsonPlaces::Entry> JsonPlaces::entries(size_t at) const {
    std::vector<Entry> found;
    if (at >= text_.size() || (text_[at] != u'{' && text_[at] != u'['))
        return found;
    const bool named = text_[at] == u'{';
    const char16_t end = named ? u'}' : u']';
    for (at = afterBlanks(at + 1); at < text_.size() && text_[at] != end;) {
        Entry entry{at, at};
        if (named)
            entry.value = afterBlanks(afterBlanks(afterString(at)) + 1);
        found.push_back(entry);
        at = afterBlanks(afterValue(entry.value));
        if (at < text_.size() && text_[at] == u',')
            at = afterBlanks(at + 1);
    }
    return found;
}

TextPlace JsonPlaces::placeOf(size_t at) const noexcept {
    const std::u16string_view before = text_.substr(0, at);
    const size_t lineEnds = static_cast<size_t>(std::ranges::count(before, u'\n'));
    return {lineEnds + 1, before.size() - (before.rfind(u'\n') + 1) + 1};
}

}  // namespace Host
