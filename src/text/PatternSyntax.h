// What the units of an ECMAScript pattern mean, for all who read patterns.
#pragma once

#include <string_view>

namespace Ferrow::PatternSyntax {

constexpr bool isOneOf(char16_t unit, std::u16string_view units) {
    return units.find(unit) != units.npos;
}

// Does not stand for itself unless it is escaped.
constexpr bool isSpecial(char16_t unit) {
    return isOneOf(unit, u"^$\\.*+?()[]{}|");
}

// Makes what stands before it absent or repeated.
constexpr bool isQuantifier(char16_t unit) {
    return isOneOf(unit, u"*+?{");
}

// Stands for itself behind a backslash, special or not; other units may mean something there.
constexpr bool isPunctuation(char16_t unit) {
    return (unit >= u'!' && unit <= u'/') || (unit >= u':' && unit <= u'@') ||
           (unit >= u'[' && unit <= u'`') || (unit >= u'{' && unit <= u'~');
}

// Stands for one of several units behind a backslash.
constexpr bool isClassEscape(char16_t unit) {
    return isOneOf(unit, u"dDsSwW");
}

// Takes one more unit behind a backslash, of whatever kind.
constexpr char16_t controlEscape = u'c';

// What "." does not match.
constexpr bool isLineEnd(char16_t unit) {
    return unit == u'\n' || unit == u'\r' || unit == u'\x2028' || unit == u'\x2029';
}

}  // namespace Ferrow::PatternSyntax
