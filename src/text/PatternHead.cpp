#include "text/PatternHead.h"

#include "text/PatternSyntax.h"

namespace Ferrow {
namespace {

using namespace PatternSyntax;

constexpr size_t longestHead = 128;

// Whether the pattern may have alternatives outside of groups, which need not have a beginning in common.
bool mayBranch(std::u16string_view pattern) {
    if (pattern.find(u'|') == pattern.npos)
        return false;
    int depth = 0;
    for (size_t i = 0; i < pattern.size(); ++i) {
        switch (pattern[i]) {
            case u'\\':
                if (++i < pattern.size() && pattern[i] == controlEscape)
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

bool PatternHead::fits(std::u16string_view name) const {
    if (name.size() < units.size())
        return false;
    size_t from = 0;
    for (const uint16_t position : wildcards) {
        if (name.substr(from, position - from) != std::u16string_view(units).substr(from, position - from))
            return false;
        from = position + size_t{1};
    }
    return name.substr(from, units.size() - from) == std::u16string_view(units).substr(from);
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
        } else if (isSpecial(unit)) {
            break;
        }
        if (i < pattern.size() && isQuantifier(pattern[i]))
            break;  // may be absent, or repeated
        if (wildcard)
            head.wildcards.push_back(static_cast<uint16_t>(head.units.size()));
        head.units.push_back(wildcard ? u'\0' : unit);
    }
    return head;
}

}  // namespace Ferrow
