#include "host/bus/PatternHead.h"

namespace EmbeddedBus {

namespace {

constexpr size_t longestHead = 128;

bool isPunctuation(char16_t unit) noexcept {
    return (unit >= u'!' && unit <= u'/') || (unit >= u':' && unit <= u'@') ||
           (unit >= u'[' && unit <= u'`') || (unit >= u'{' && unit <= u'~');
}

// Whether the pattern may have alternatives outside of groups, which need not have a beginning in common.
bool mayBranch(std::u16string_view pattern) {
    if (pattern.find(u'|') == pattern.npos)
        return false;
    int depth = 0;
    for (size_t i = 0; i < pattern.size(); ++i) {
        switch (pattern[i]) {
            case u'\\':
                // A control escape takes one more unit, of whatever kind.
                if (++i < pattern.size() && pattern[i] == u'c')
                    return true;
                break;
            case u'[':  // parentheses and bars in it are plain
                return true;
            case u'(':
                ++depth;
                break;
            case u')':
                --depth;
                break;
            case u'|':
                if (depth <= 0)
                    return true;
                break;
            default:
                break;
        }
    }
    return false;
}

}  // namespace

bool PatternHead::cut(std::u16string_view name, std::u16string& head) const {
    if (name.size() < units.size())
        return false;
    head.assign(name, 0, units.size());
    for (const uint16_t position : wildcards)
        head[position] = 0;
    return true;
}

PatternHead patternHead(std::u16string_view pattern) {
    PatternHead head;
    if (mayBranch(pattern))
        return head;
    size_t i = pattern.starts_with(u'^') ? 1 : 0;
    while (i < pattern.size() && head.units.size() < longestHead) {
        char16_t unit = pattern[i++];
        bool wildcard = false;
        if (unit == u'\\') {
            if (i == pattern.size() || !isPunctuation(pattern[i]))
                break;
            unit = pattern[i++];
        } else if (unit == u'.') {
            wildcard = true;
        } else if (std::u16string_view(u"^$*+?()[]{}|").find(unit) != std::u16string_view::npos) {
            break;
        }
        if (i < pattern.size() && std::u16string_view(u"*+?{").find(pattern[i]) != std::u16string_view::npos)
            break;  // may be absent, or repeated
        if (wildcard)
            head.wildcards.push_back(static_cast<uint16_t>(head.units.size()));
        head.units.push_back(wildcard ? u'\0' : unit);
    }
    return head;
}

}  // namespace EmbeddedBus
