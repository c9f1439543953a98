#include "host/program/output/TerminalText.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "text/Format.h"

namespace Host {
namespace {

constexpr char32_t replacement = 0xFFFD;
constexpr char16_t ellipsis = u'…';
constexpr size_t mostMarks = 3;  // combining marks in a row; more would climb over the neighbouring lines

struct Range {
    char32_t first, last;
};

// Each table ascends.
constexpr Range unseen[] = {
    {0x00AD, 0x00AD}, {0x061C, 0x061C}, {0x115F, 0x1160},   {0x180B, 0x180F},   {0x200B, 0x200B},
    {0x200E, 0x200F}, {0x2028, 0x202E}, {0x2060, 0x206F},   {0x3164, 0x3164},   {0xFEFF, 0xFEFF},
    {0xFFF0, 0xFFFB}, {0xFFFE, 0xFFFF}, {0x1D173, 0x1D17A}, {0xE0000, 0xE0FFF}, {0xF0000, 0x10FFFF},
};
constexpr Range marks[] = {
    {0x0300, 0x036F}, {0x0483, 0x0489}, {0x0591, 0x05BD}, {0x05BF, 0x05BF}, {0x05C1, 0x05C2},
    {0x05C4, 0x05C5}, {0x05C7, 0x05C7}, {0x0610, 0x061A}, {0x064B, 0x065F}, {0x0670, 0x0670},
    {0x06D6, 0x06DC}, {0x06DF, 0x06E4}, {0x06E7, 0x06E8}, {0x06EA, 0x06ED}, {0x0711, 0x0711},
    {0x0730, 0x074A}, {0x0900, 0x0902}, {0x093A, 0x093A}, {0x093C, 0x093C}, {0x0941, 0x0948},
    {0x094D, 0x094D}, {0x0951, 0x0957}, {0x0E31, 0x0E31}, {0x0E34, 0x0E3A}, {0x0E47, 0x0E4E},
    {0x0EB1, 0x0EB1}, {0x0EB4, 0x0EBC}, {0x0EC8, 0x0ECD}, {0x1AB0, 0x1AFF}, {0x1DC0, 0x1DFF},
    {0x200C, 0x200D}, {0x20D0, 0x20F0}, {0x302A, 0x302D}, {0x3099, 0x309A}, {0xFE00, 0xFE0F},
    {0xFE20, 0xFE2F},
};
constexpr Range wide[] = {
    {0x1100, 0x115E},   {0x231A, 0x231B},   {0x2329, 0x232A},   {0x23E9, 0x23EC},   {0x23F0, 0x23F0},
    {0x23F3, 0x23F3},   {0x25FD, 0x25FE},   {0x2614, 0x2615},   {0x2648, 0x2653},   {0x267F, 0x267F},
    {0x2693, 0x2693},   {0x26A1, 0x26A1},   {0x26AA, 0x26AB},   {0x26BD, 0x26BE},   {0x26C4, 0x26C5},
    {0x26CE, 0x26CE},   {0x26D4, 0x26D4},   {0x26EA, 0x26EA},   {0x26F2, 0x26F3},   {0x26F5, 0x26F5},
    {0x26FA, 0x26FA},   {0x26FD, 0x26FD},   {0x2705, 0x2705},   {0x270A, 0x270B},   {0x2728, 0x2728},
    {0x274C, 0x274C},   {0x274E, 0x274E},   {0x2753, 0x2755},   {0x2757, 0x2757},   {0x2795, 0x2797},
    {0x27B0, 0x27B0},   {0x27BF, 0x27BF},   {0x2B1B, 0x2B1C},   {0x2B50, 0x2B50},   {0x2B55, 0x2B55},
    {0x2E80, 0x3029},   {0x302E, 0x303E},   {0x3041, 0x3098},   {0x309B, 0x4DBF},   {0x4E00, 0xA4CF},
    {0xA960, 0xA97F},   {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},   {0xFE30, 0xFE6F},   {0xFF00, 0xFF60},
    {0xFFE0, 0xFFE6},   {0x16FE0, 0x18AFF}, {0x1B000, 0x1B2FF}, {0x1F004, 0x1F004}, {0x1F0CF, 0x1F0CF},
    {0x1F18E, 0x1F18E}, {0x1F191, 0x1F19A}, {0x1F200, 0x1F320}, {0x1F32D, 0x1F335}, {0x1F337, 0x1F37C},
    {0x1F37E, 0x1F393}, {0x1F3A0, 0x1F3CA}, {0x1F3CF, 0x1F3D3}, {0x1F3E0, 0x1F3F0}, {0x1F3F4, 0x1F3F4},
    {0x1F3F8, 0x1F43E}, {0x1F440, 0x1F440}, {0x1F442, 0x1F4FC}, {0x1F4FF, 0x1F53D}, {0x1F54B, 0x1F54E},
    {0x1F550, 0x1F567}, {0x1F57A, 0x1F57A}, {0x1F595, 0x1F596}, {0x1F5A4, 0x1F5A4}, {0x1F5FB, 0x1F64F},
    {0x1F680, 0x1F6C5}, {0x1F6CC, 0x1F6CC}, {0x1F6D0, 0x1F6D2}, {0x1F6D5, 0x1F6DF}, {0x1F6EB, 0x1F6EC},
    {0x1F6F4, 0x1F6FC}, {0x1F7E0, 0x1F7EB}, {0x1F90C, 0x1F9FF}, {0x1FA70, 0x1FAFF}, {0x20000, 0x3FFFD},
};

template <size_t Count>
bool isIn(const Range (&table)[Count], char32_t point) {
    const auto* after =
        std::upper_bound(std::begin(table), std::end(table), point,
                         [](char32_t value, const Range& range) { return value < range.first; });
    return after != std::begin(table) && point <= std::prev(after)->last;
}

// Reads the code point at text[at] and moves past it; a lone surrogate reads as U+FFFD.
char32_t nextPoint(std::u16string_view text, size_t& at) {
    const char16_t unit = text[at++];
    if (unit < 0xD800 || unit > 0xDFFF)
        return unit;
    if (unit <= 0xDBFF && at < text.size() && text[at] >= 0xDC00 && text[at] <= 0xDFFF)
        return 0x10000 + (static_cast<char32_t>(unit - 0xD800) << 10) + (text[at++] - 0xDC00u);
    return replacement;
}

void append(std::u16string& out, char32_t point) {
    if (point < 0x10000) {
        out += static_cast<char16_t>(point);
        return;
    }
    out += static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10));
    out += static_cast<char16_t>(0xDC00 + ((point - 0x10000) & 0x3FF));
}

size_t columnsOfPoint(char32_t point) {
    return isIn(marks, point) ? 0 : isIn(wide, point) ? 2 : 1;
}

char32_t visible(char32_t point) {
    if (point < 0x20)
        return 0x2400 + point;  // the control pictures
    if (point == 0x7F)
        return 0x2421;
    if ((point >= 0x80 && point <= 0x9F) || isIn(unseen, point))
        return replacement;
    return point;
}

// The paragraphs of a text: its own line ends, whatever their kind.
template <class Use>
void eachParagraph(std::u16string_view text, Use use) {
    for (;;) {
        const size_t end = text.find_first_of(u"\r\n\u0085\u2028\u2029");
        if (!use(text.substr(0, end)) || end == text.npos)
            return;
        const bool pair = text[end] == u'\r' && end + 1 < text.size() && text[end + 1] == u'\n';
        text.remove_prefix(end + (pair ? 2 : 1));
    }
}

// Takes the first line of at most that many columns off a harmless text.
std::u16string_view takeLine(std::u16string_view& text, size_t columns) {
    size_t used = 0, at = 0, blank = text.npos;
    while (at < text.size()) {
        const size_t begin = at;
        const char32_t point = nextPoint(text, at);
        used += columnsOfPoint(point);
        if (point == u' ')
            blank = begin;
        if (used <= columns)
            continue;
        const size_t end = blank != text.npos && blank > 0 ? blank : std::max<size_t>(begin, 1);
        const std::u16string_view line = text.substr(0, end);
        text.remove_prefix(end);
        text.remove_prefix(std::min(text.find_first_not_of(u' '), text.size()));
        return line;
    }
    return std::exchange(text, {});
}

}  // namespace

std::u16string harmless(std::u16string_view text) {
    std::u16string out;
    out.reserve(text.size());
    size_t inARow = 0;
    for (size_t at = 0; at < text.size();) {
        const char32_t point = nextPoint(text, at);
        inARow = isIn(marks, point) ? inARow + 1 : 0;
        if (inARow <= mostMarks)
            append(out, visible(point));
    }
    return out;
}

std::u16string harmlessJson(std::u16string_view json) {
    std::u16string out;
    out.reserve(json.size());
    for (size_t at = 0; at < json.size();) {
        const size_t begin = at;
        const char32_t point = nextPoint(json, at);
        const std::u16string_view units = json.substr(begin, at - begin);
        if (visible(point) == point && !(point == replacement && units[0] != replacement)) {
            out += units;
            continue;
        }
        for (const char16_t unit : units)
            out += Ferrow::formatText(u"\\u%04x", static_cast<uint32_t>(unit));
    }
    return out;
}

size_t columnsOf(std::u16string_view text) {
    size_t columns = 0;
    for (size_t at = 0; at < text.size();)
        columns += columnsOfPoint(nextPoint(text, at));
    return columns;
}

std::vector<std::u16string> wrapped(std::u16string_view text, size_t columns, size_t maximumLines) {
    std::vector<std::u16string> lines;
    if (text.empty() || maximumLines == 0)
        return lines;
    columns = std::max<size_t>(columns, 2);
    eachParagraph(text, [&](std::u16string_view paragraph) {
        std::u16string tabless(paragraph);
        std::replace(tabless.begin(), tabless.end(), u'\t', u' ');
        const std::u16string whole = harmless(tabless);
        std::u16string_view rest = whole;
        do {
            if (lines.size() == maximumLines) {
                lines.back() = shortened(lines.back() + ellipsis, columns);
                return false;
            }
            lines.emplace_back(takeLine(rest, columns));
        } while (!rest.empty());
        return true;
    });
    return lines;
}

std::u16string shortened(std::u16string_view text, size_t columns) {
    if (columnsOf(text) <= columns)
        return std::u16string(text);
    size_t used = 0, end = 0;
    for (size_t at = 0; at < text.size(); end = at) {
        used += columnsOfPoint(nextPoint(text, at));
        if (used >= columns)
            break;
    }
    return std::u16string(text.substr(0, end)) + ellipsis;
}

}  // namespace Host
