#include "text/Format.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include "text/Utf.h"

namespace Ferrow {
namespace {

// Widths and precisions come from format texts and arguments; beyond this they only waste memory.
constexpr uint64_t greatestWidth = 4096;
constexpr std::u16string_view wrongArgument = u"(?)";

struct Conversion {
    bool left = false, plus = false, space = false, zero = false, alternate = false;
    size_t width = 0;
    std::optional<size_t> precision;
    char16_t letter = 0;
};

class Arguments {
public:
    Arguments(const FormatArgument* list, size_t count) : next_(list), end_(list + count) {}
    const FormatArgument* take() { return next_ == end_ ? nullptr : next_++; }

private:
    const FormatArgument* next_;
    const FormatArgument* end_;
};

constexpr bool isDigit(char16_t unit) {
    return unit >= u'0' && unit <= u'9';
}

bool isNumber(const FormatArgument& argument) {
    return argument.kind() == FormatArgument::Kind::signedNumber ||
           argument.kind() == FormatArgument::Kind::unsignedNumber;
}

// The value's bits at its own size, at least that of an int, as the language promotes arguments.
uint64_t unsignedValue(const FormatArgument& argument) {
    switch (argument.kind()) {
        case FormatArgument::Kind::signedNumber: {
            const auto value = static_cast<uint64_t>(argument.signedNumber());
            return argument.size() > sizeof(int) ? value : static_cast<uint32_t>(value);
        }
        case FormatArgument::Kind::unsignedNumber:
            return argument.unsignedNumber();
        default:
            return reinterpret_cast<uintptr_t>(argument.address());
    }
}

int64_t signedValue(const FormatArgument& argument) {
    if (argument.kind() == FormatArgument::Kind::signedNumber)
        return argument.signedNumber();
    const uint64_t value = unsignedValue(argument);
    return argument.size() == sizeof(int) ? static_cast<int32_t>(static_cast<uint32_t>(value))
                                          : static_cast<int64_t>(value);
}

// A number after "%" or ".": digits, or "*" for the next argument. Nothing when neither stands there.
std::optional<int64_t> readSize(std::u16string_view format, size_t& at, Arguments& arguments) {
    constexpr auto greatest = static_cast<int64_t>(greatestWidth);
    if (at < format.size() && format[at] == u'*') {
        ++at;
        const FormatArgument* argument = arguments.take();
        if (!argument || !isNumber(*argument))
            return 0;
        return std::clamp(signedValue(*argument), -greatest, greatest);
    }
    if (at == format.size() || !isDigit(format[at]))
        return std::nullopt;
    int64_t value = 0;
    for (; at < format.size() && isDigit(format[at]); ++at)
        value = std::min(value * 10 + (format[at] - u'0'), greatest);
    return value;
}

// Reads what follows a "%" at format[at] and moves past it.
Conversion readConversion(std::u16string_view format, size_t& at, Arguments& arguments) {
    Conversion conversion;
    for (; at < format.size(); ++at) {
        const char16_t flag = format[at];
        if (flag == u'-')
            conversion.left = true;
        else if (flag == u'+')
            conversion.plus = true;
        else if (flag == u' ')
            conversion.space = true;
        else if (flag == u'0')
            conversion.zero = true;
        else if (flag == u'#')
            conversion.alternate = true;
        else
            break;
    }
    if (const auto width = readSize(format, at, arguments)) {
        conversion.left = conversion.left || *width < 0;
        conversion.width = static_cast<size_t>(*width < 0 ? -*width : *width);
    }
    if (at < format.size() && format[at] == u'.') {
        ++at;
        const int64_t precision = readSize(format, at, arguments).value_or(0);
        if (precision >= 0)
            conversion.precision = static_cast<size_t>(precision);
    }
    constexpr std::u16string_view lengths = u"hlwzjtL";
    while (at < format.size() && lengths.find(format[at]) != lengths.npos)
        ++at;
    if (at < format.size())
        conversion.letter = format[at++];
    return conversion;
}

void appendPadded(std::u16string& out, std::u16string_view text, const Conversion& conversion) {
    const size_t padding = conversion.width > text.size() ? conversion.width - text.size() : 0;
    if (!conversion.left)
        out.append(padding, u' ');
    out += text;
    if (conversion.left)
        out.append(padding, u' ');
}

void appendNumber(std::u16string& out, std::u16string_view sign, std::u16string_view digits,
                  const Conversion& conversion, bool zeroPadded) {
    std::u16string text(sign);
    const size_t length = sign.size() + digits.size();
    if (zeroPadded && !conversion.left && conversion.width > length)
        text.append(conversion.width - length, u'0');
    text += digits;
    appendPadded(out, text, conversion);
}

std::u16string_view signOf(bool negative, const Conversion& conversion) {
    if (negative)
        return u"-";
    return conversion.plus ? u"+" : conversion.space ? u" " : u"";
}

void appendInteger(std::u16string& out, const FormatArgument& argument, const Conversion& conversion) {
    const bool isSigned = conversion.letter == u'd' || conversion.letter == u'i';
    bool negative = false;
    uint64_t value = 0;
    if (isSigned) {
        const int64_t number = signedValue(argument);
        negative = number < 0;
        value = negative ? 0 - static_cast<uint64_t>(number) : static_cast<uint64_t>(number);
    } else {
        value = unsignedValue(argument);
    }
    const unsigned base = conversion.letter == u'o'                                ? 8
                          : conversion.letter == u'x' || conversion.letter == u'X' ? 16
                                                                                   : 10;
    const std::u16string_view digitSet =
        conversion.letter == u'X' ? u"0123456789ABCDEF" : u"0123456789abcdef";
    std::u16string digits;
    for (uint64_t rest = value; rest != 0; rest /= base)
        digits += digitSet[rest % base];
    if (digits.size() < conversion.precision.value_or(1))
        digits.append(conversion.precision.value_or(1) - digits.size(), u'0');
    if (conversion.alternate && base == 8 && !digits.ends_with(u'0'))
        digits += u'0';
    std::reverse(digits.begin(), digits.end());
    std::u16string_view sign;
    if (isSigned)
        sign = signOf(negative, conversion);
    else if (conversion.alternate && base == 16 && value != 0)
        sign = conversion.letter == u'X' ? u"0X" : u"0x";
    appendNumber(out, sign, digits, conversion, conversion.zero && !conversion.precision);
}

void appendReal(std::u16string& out, double value, const Conversion& conversion) {
    const bool upper = conversion.letter < u'a';
    const char16_t letter =
        upper ? static_cast<char16_t>(conversion.letter + (u'a' - u'A')) : conversion.letter;
    const auto form = letter == u'f'   ? std::chars_format::fixed
                      : letter == u'e' ? std::chars_format::scientific
                                       : std::chars_format::general;
    char text[greatestWidth + 512];  // the longest: 309 digits, a point and the precision
    const auto result = std::to_chars(std::begin(text), std::end(text), value, form,
                                      static_cast<int>(conversion.precision.value_or(6)));
    std::u16string digits(text, result.ptr);
    if (upper)
        std::transform(digits.begin(), digits.end(), digits.begin(), [](char16_t unit) {
            return unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(unit - (u'a' - u'A')) : unit;
        });
    const bool negative = digits.starts_with(u'-');
    if (negative)
        digits.erase(0, 1);
    appendNumber(out, signOf(negative, conversion), digits, conversion,
                 conversion.zero && isDigit(digits[0]));
}

// As far as a text goes for who takes its end to be its NUL.
template <class Text>
Text upToNul(Text text) {
    return text.substr(0, text.find(typename Text::value_type{}));
}

// No more of the text than can show is read.
void appendText(std::u16string& out, const FormatArgument& argument, const Conversion& conversion,
                size_t room) {
    const size_t wanted =
        std::min(conversion.precision.value_or(SIZE_MAX), room < SIZE_MAX - 2 ? room + 2 : room);
    if (argument.kind() == FormatArgument::Kind::wideText) {
        appendPadded(out, upToNul(cutText(argument.wideText(), wanted)), conversion);
        return;
    }
    std::string_view narrow = argument.narrowText();
    if (wanted < narrow.size() / 4)
        narrow = narrow.substr(0, (wanted + 1) * 4);
    appendPadded(out, cutText(toUtf16(upToNul(narrow)), wanted), conversion);
}

void appendCharacter(std::u16string& out, const FormatArgument& argument, const Conversion& conversion) {
    const uint64_t point = unsignedValue(argument);
    std::u16string text;
    if (point < 0x10000) {
        text = static_cast<char16_t>(point);
    } else if (point < 0x110000) {
        text = static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10));
        text += static_cast<char16_t>(0xDC00 + ((point - 0x10000) & 0x3FF));
    } else {
        text = u'\xFFFD';
    }
    appendPadded(out, text, conversion);
}

// False when the letter names no conversion.
bool appendConversion(std::u16string& out, const Conversion& conversion, Arguments& arguments, size_t room) {
    constexpr std::u16string_view letters = u"diuxXocsfFeEgGp";
    if (letters.find(conversion.letter) == letters.npos)
        return false;
    using Kind = FormatArgument::Kind;
    const FormatArgument* argument = arguments.take();
    const bool text =
        argument && (argument->kind() == Kind::wideText || argument->kind() == Kind::narrowText);
    const bool address = argument && argument->kind() == Kind::pointer;
    switch (conversion.letter) {
        case u's':
            if (text)
                appendText(out, *argument, conversion, room);
            else
                appendPadded(out, wrongArgument, conversion);
            break;
        case u'c':
            if (argument && isNumber(*argument))
                appendCharacter(out, *argument, conversion);
            else
                appendPadded(out, wrongArgument, conversion);
            break;
        case u'p':
            if (text || address || (argument && isNumber(*argument))) {
                Conversion hexadecimal = conversion;
                hexadecimal.letter = u'x';
                hexadecimal.alternate = true;
                appendInteger(out, *argument, hexadecimal);
            } else {
                appendPadded(out, wrongArgument, conversion);
            }
            break;
        case u'f':
        case u'F':
        case u'e':
        case u'E':
        case u'g':
        case u'G':
            if (argument && argument->kind() == Kind::real)
                appendReal(out, argument->real(), conversion);
            else
                appendPadded(out, wrongArgument, conversion);
            break;
        default:
            if (address || (argument && isNumber(*argument)))
                appendInteger(out, *argument, conversion);
            else
                appendPadded(out, wrongArgument, conversion);
            break;
    }
    return true;
}

}  // namespace

std::u16string formatTextArguments(std::u16string_view format, const FormatArgument* arguments, size_t count,
                                   size_t maximumLength) {
    std::u16string out;
    Arguments remaining(arguments, count);
    for (size_t at = 0; at < format.size() && out.size() <= maximumLength;) {
        const size_t percent = std::min(format.find(u'%', at), format.size());
        out += format.substr(at, percent - at);
        if (percent == format.size() || out.size() > maximumLength)
            break;
        at = percent + 1;
        const Conversion conversion = readConversion(format, at, remaining);
        if (conversion.letter == u'%')
            out += u'%';
        else if (!appendConversion(out, conversion, remaining, maximumLength - out.size()))
            out += format.substr(percent, at - percent);
    }
    out.resize(cutText(out, maximumLength).size());
    return out;
}

}  // namespace Ferrow
