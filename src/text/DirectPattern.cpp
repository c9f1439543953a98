#include "text/DirectPattern.h"

#include <algorithm>

#include "text/PatternSyntax.h"

namespace Ferrow {
namespace {

using namespace PatternSyntax;

constexpr uint32_t anyUnit = 0x10000;
// A group of alternatives of many lengths before an open end: its tail is compared once for each length.
constexpr size_t greatestTailWork = 1'000'000;

}  // namespace

class DirectPatternParser {
public:
    explicit DirectPatternParser(std::u16string_view pattern) : rest_(pattern) {}

    std::optional<DirectPattern> parse() {
        skip(u"^");
        bool inSequence = false;
        while (!rest_.empty() && !atEnd()) {
            if (rest_.front() == u'(') {
                inSequence = false;
                if (!group())
                    return std::nullopt;
                continue;
            }
            if (!inSequence)
                openPart();
            inSequence = true;
            if (!token())
                return std::nullopt;
        }
        closePart();
        if (!measure())
            return std::nullopt;
        return std::move(result_);
    }

private:
    bool skip(std::u16string_view text) {
        if (!rest_.starts_with(text))
            return false;
        rest_.remove_prefix(text.size());
        return true;
    }

    // Takes the end of the pattern, when nothing else stands here any more.
    bool atEnd() {
        std::u16string_view end = rest_;
        if (end.ends_with(u'$'))
            end.remove_suffix(1);
        if (!end.empty() && end != u".*" && end != u".+")
            return false;
        if (!end.empty())
            result_.end_ = end == u".*" ? DirectPattern::End::any : DirectPattern::End::anyButNothing;
        rest_ = {};
        return true;
    }

    bool token() {
        const char16_t unit = rest_.front();
        if (unit == u'.') {
            result_.tokens_.push_back(anyUnit);
            rest_.remove_prefix(1);
        } else if (unit == u'\\') {
            if (rest_.size() < 2 || !isPunctuation(rest_[1]))
                return false;
            result_.tokens_.push_back(rest_[1]);
            rest_.remove_prefix(2);
        } else if (isSpecial(unit)) {
            return false;
        } else {
            result_.tokens_.push_back(unit);
            rest_.remove_prefix(1);
        }
        return true;
    }

    void openPart() {
        closePart();
        result_.parts_.push_back({result_.alternatives_.size(), 0, 0, 0});
        openAlternative();
    }
    void openAlternative() { result_.alternatives_.push_back({result_.tokens_.size(), 0}); }
    void closeAlternative() {
        DirectPattern::Alternative& last = result_.alternatives_.back();
        last.length = result_.tokens_.size() - last.first;
    }

    void closePart() {
        if (result_.parts_.empty() || result_.parts_.back().count != 0)
            return;
        closeAlternative();
        DirectPattern::Part& part = result_.parts_.back();
        part.count = result_.alternatives_.size() - part.first;
        const auto first = result_.alternatives_.begin() + static_cast<std::ptrdiff_t>(part.first);
        std::sort(first, result_.alternatives_.end(),
                  [](const auto& left, const auto& right) { return left.length < right.length; });
        part.shortest = first->length;
        part.longest = result_.alternatives_.back().length;
    }

    bool group() {
        rest_.remove_prefix(1);
        openPart();
        while (!rest_.empty() && rest_.front() != u')') {
            if (rest_.front() == u'|') {
                rest_.remove_prefix(1);
                closeAlternative();
                openAlternative();
            } else if (!token()) {
                return false;
            }
        }
        closePart();
        return skip(u")");
    }

    // Finds the part of variable length; false when there are two, or when the last bound would be passed.
    bool measure() {
        const auto& parts = result_.parts_;
        result_.variable_ = parts.size();
        for (size_t at = 0; at < parts.size(); ++at) {
            if (parts[at].shortest == parts[at].longest) {
                (result_.variable_ == parts.size() ? result_.headLength_ : result_.tailLength_) +=
                    parts[at].shortest;
            } else if (result_.variable_ == parts.size()) {
                result_.variable_ = at;
            } else {
                return false;
            }
        }
        if (result_.variable_ == parts.size() || result_.end_ == DirectPattern::End::exact)
            return true;
        size_t tailTokens = 0;
        for (size_t at = result_.variable_ + 1; at < parts.size(); ++at)
            tailTokens += parts[at].count * (parts[at].shortest + 1);
        return tailTokens * std::min(parts[result_.variable_].count, parts[result_.variable_].longest + 1) <=
               greatestTailWork;
    }

    std::u16string_view rest_;
    DirectPattern result_;
};

std::optional<DirectPattern> DirectPattern::parse(std::u16string_view pattern) {
    return DirectPatternParser(pattern).parse();
}

bool DirectPattern::alternativeMatches(const Alternative& alternative, std::u16string_view name,
                                       size_t at) const {
    const uint32_t* token = tokens_.data() + alternative.first;
    for (const char16_t unit : name.substr(at, alternative.length)) {
        if (*token != unit && (*token != anyUnit || isLineEnd(unit)))
            return false;
        ++token;
    }
    return true;
}

// The name is long enough for these parts.
bool DirectPattern::fixedPartsMatch(size_t firstPart, size_t endPart, std::u16string_view name,
                                    size_t at) const {
    for (size_t number = firstPart; number < endPart; ++number) {
        const Part& part = parts_[number];
        const auto first = alternatives_.begin() + static_cast<std::ptrdiff_t>(part.first);
        if (std::none_of(first, first + static_cast<std::ptrdiff_t>(part.count),
                         [&](const Alternative& each) { return alternativeMatches(each, name, at); }))
            return false;
        at += part.shortest;
    }
    return true;
}

bool DirectPattern::openEndFits(std::u16string_view name, size_t at, size_t afterLastLineEnd) const {
    return at >= afterLastLineEnd && (end_ == End::any || at < name.size());
}

bool DirectPattern::matches(std::u16string_view name) const {
    const bool hasVariable = variable_ < parts_.size();
    const size_t fixedLength = headLength_ + tailLength_;
    if (name.size() < fixedLength || !fixedPartsMatch(0, variable_, name, 0))
        return false;
    const size_t left = name.size() - fixedLength;
    if (end_ == End::exact && !hasVariable)
        return left == 0;

    size_t afterLastLineEnd = 0;
    if (end_ != End::exact) {
        const auto last = std::find_if(name.rbegin(), name.rend(), isLineEnd);
        afterLastLineEnd = static_cast<size_t>(name.rend() - last);
    }
    if (!hasVariable)
        return openEndFits(name, headLength_, afterLastLineEnd);

    const Part& part = parts_[variable_];
    size_t testedLength = SIZE_MAX;
    bool tailFits = false;
    for (size_t number = part.first; number < part.first + part.count; ++number) {
        const Alternative& each = alternatives_[number];
        if (each.length > left)
            return false;
        if (end_ == End::exact && each.length != left)
            continue;
        if (each.length != testedLength) {
            testedLength = each.length;
            const size_t tail = headLength_ + each.length;
            tailFits = (end_ == End::exact || openEndFits(name, tail + tailLength_, afterLastLineEnd)) &&
                       fixedPartsMatch(variable_ + 1, parts_.size(), name, tail);
        }
        if (tailFits && alternativeMatches(each, name, headLength_))
            return true;
    }
    return false;
}

}  // namespace Ferrow
