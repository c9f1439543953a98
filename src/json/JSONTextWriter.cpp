#include "json/JSONTextWriter.h"

#include "json/JSONParse.h"

namespace Tavix {

bool JSONTextWriter::ObjectText(const std::u16string& text) {
    Prefix(rapidjson::kObjectType);
    const size_t start = os_->length();
    JSONTextWriter inner(*os_);
    unsigned depth = 0;
    const bool written = parseJson(text, inner, depth) && text[text.find_first_not_of(u" \t\r\n")] == u'{';
    if (!written) {
        os_->truncate(start);
        os_->append(u"{}");
    }
    EndValue(true);
    return written;
}

namespace {

// Without a branch, so that compilers test several units at a time.
constexpr char16_t isEscaped(char16_t unit) noexcept {
    return static_cast<char16_t>(unit < 0x20) | static_cast<char16_t>(unit == u'"') |
           static_cast<char16_t>(unit == u'\\');
}

size_t findEscaped(std::u16string_view text, size_t from) noexcept {
    constexpr size_t block = 16;
    for (; from + block <= text.size(); from += block) {
        const char16_t* const units = text.data() + from;
        char16_t found = 0;
        for (size_t at = 0; at < block; ++at)
            found |= isEscaped(units[at]);
        if (found)
            break;
    }
    while (from < text.size() && !isEscaped(text[from]))
        ++from;
    return from;
}

}  // namespace

void JSONTextWriter::writeString(std::u16string_view text) {
    constexpr std::u16string_view hexDigits = u"0123456789ABCDEF";
    os_->Put(u'"');
    size_t start = 0;
    for (size_t i = findEscaped(text, 0); i < text.size(); i = findEscaped(text, i + 1)) {
        const char16_t unit = text[i];
        os_->append(text.substr(start, i - start));
        start = i + 1;
        os_->Put(u'\\');
        switch (unit) {
            case u'\b':
                os_->Put(u'b');
                break;
            case u'\t':
                os_->Put(u't');
                break;
            case u'\n':
                os_->Put(u'n');
                break;
            case u'\f':
                os_->Put(u'f');
                break;
            case u'\r':
                os_->Put(u'r');
                break;
            case u'"':
            case u'\\':
                os_->Put(unit);
                break;
            default:
                os_->append(u"u00");
                os_->Put(hexDigits[unit >> 4]);
                os_->Put(hexDigits[unit & 15]);
        }
    }
    os_->append(text.substr(start));
    os_->Put(u'"');
}

}  // namespace Tavix
