#include "platform/IniText.h"

#include "text/Utf.h"

namespace Platform {
namespace {

constexpr std::string_view utf8Mark = "\xEF\xBB\xBF";
constexpr std::string_view utf16Mark = "\xFF\xFE";

struct Place {
    // Where the value's line lies, when the key exists; else where a line for it belongs, when its section
    // does.
    size_t begin = std::string_view::npos;
    size_t end = std::string_view::npos;
    bool found = false;
    std::string_view value;
};

bool sameName(std::string_view name, std::u16string_view folded) {
    return Ferrow::toLowerAscii(Ferrow::toUtf16(Ferrow::trimmed(name))) == folded;
}

Place findPlace(std::string_view text, std::u16string_view section, std::u16string_view key) {
    const std::u16string foldedSection = Ferrow::toLowerAscii(section);
    const std::u16string foldedKey = Ferrow::toLowerAscii(key);
    Place place;
    bool inside = false;
    for (size_t begin = 0; begin < text.size();) {
        const size_t newline = text.find('\n', begin);
        const size_t end = newline == std::string_view::npos ? text.size() : newline + 1;
        const std::string_view line = Ferrow::trimmed(text.substr(begin, end - begin));
        const size_t equals = line.find('=');
        if (line.starts_with('[')) {
            inside = sameName(line.substr(1, line.find(']') - 1), foldedSection);
            if (inside)
                place.begin = place.end = end;
        } else if (inside && !line.empty() && !line.starts_with(';') && !line.starts_with('#')) {
            if (equals != std::string_view::npos && sameName(line.substr(0, equals), foldedKey))
                return {begin, end, true, Ferrow::trimmed(line.substr(equals + 1))};
            place.begin = place.end = end;
        }
        begin = end;
    }
    return place;
}

std::string_view withoutQuotes(std::string_view value) {
    const bool quoted =
        value.size() >= 2 && value.front() == value.back() && (value.front() == '"' || value.front() == '\'');
    return quoted ? value.substr(1, value.size() - 2) : value;
}

// The text as UTF-8 without its mark.
std::string decoded(std::string_view text) {
    if (text.starts_with(utf16Mark))
        return Ferrow::toUtf8(Ferrow::fromLittleEndian(text.substr(utf16Mark.size())));
    if (text.starts_with(utf8Mark))
        text.remove_prefix(utf8Mark.size());
    return std::string(text);
}

bool readsBack(std::u16string_view name, std::u16string_view forbidden) {
    const std::string text = Ferrow::toUtf8(name);
    return !name.empty() && Ferrow::trimmed(text).size() == text.size() &&
           name.find_first_of(forbidden) == std::u16string_view::npos;
}

}  // namespace

std::optional<std::u16string> readIniValue(std::string_view text, std::u16string_view section,
                                           std::u16string_view key) {
    const std::string plain = decoded(text);
    const Place place = findPlace(plain, section, key);
    if (!place.found)
        return std::nullopt;
    return Ferrow::toUtf16(withoutQuotes(place.value));
}

std::optional<std::string> withIniValue(std::string_view text, std::u16string_view section,
                                        std::u16string_view key, std::u16string_view value) {
    using namespace std::string_view_literals;
    const bool comment = key.starts_with(u';') || key.starts_with(u'#') || key.starts_with(u'[');
    if (comment || !readsBack(key, u"=\r\n\0"sv) || !readsBack(section, u"[]\r\n\0"sv) ||
        value.find_first_of(u"\r\n\0"sv) != std::u16string_view::npos)
        return std::nullopt;
    std::string plain = decoded(text);
    std::string valueText = Ferrow::toUtf8(value);
    if (Ferrow::trimmed(valueText).size() != valueText.size() ||
        withoutQuotes(valueText).size() != valueText.size())
        valueText = '"' + valueText + '"';

    // The text's own line ends; those of Windows where it has none yet.
    const size_t newline = plain.find('\n');
    const bool bare = newline != std::string::npos && (newline == 0 || plain[newline - 1] != '\r');
    const std::string lineEnd = bare ? "\n" : "\r\n";
    const std::string line = Ferrow::toUtf8(key) + "=" + valueText + lineEnd;

    const Place place = findPlace(plain, section, key);
    if (place.end != std::string_view::npos) {
        const bool openEnd = place.end == plain.size() && !plain.ends_with('\n') && !place.found;
        plain.replace(place.begin, place.end - place.begin, (openEnd ? lineEnd : std::string()) + line);
    } else {
        if (!plain.empty() && !plain.ends_with('\n'))
            plain += lineEnd;
        plain += "[" + Ferrow::toUtf8(section) + "]" + lineEnd + line;
    }
    if (text.starts_with(utf16Mark))
        return std::string(utf16Mark) + Ferrow::toLittleEndian(Ferrow::toUtf16(plain));
    return (text.starts_with(utf8Mark) ? std::string(utf8Mark) : std::string()) + plain;
}

}  // namespace Platform
