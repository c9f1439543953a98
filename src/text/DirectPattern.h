// The patterns that nearly everybody writes, matched without a regular-expression engine.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace Ferrow {

// A sequence of plain characters, ".", escaped punctuation and "(A|B|...)" groups of those, with an optional
// "^" before it and an optional "$", ".*" or ".+" behind it. Alternatives of one group may differ in length,
// in the other groups they may not: so each name is compared in one pass, linear in pattern and name,
// whatever their length, on constant stack.
class DirectPattern {
public:
    // Nothing when the pattern is of another kind.
    static std::optional<DirectPattern> parse(std::u16string_view pattern);

    bool matches(std::u16string_view name) const;

private:
    friend class DirectPatternParser;
    struct Alternative {
        size_t first, length;  // in tokens_
    };
    struct Part {
        size_t first, count;  // in alternatives_; a group's alternatives stand in order of length
        size_t shortest, longest;
    };
    enum class End { exact, any, anyButNothing };

    bool alternativeMatches(const Alternative& alternative, std::u16string_view name, size_t at) const;
    bool fixedPartsMatch(size_t firstPart, size_t endPart, std::u16string_view name, size_t at) const;
    bool openEndFits(std::u16string_view name, size_t at, size_t afterLastLineEnd) const;

    std::vector<uint32_t> tokens_;  // a unit each, or anyUnit
    std::vector<Alternative> alternatives_;
    std::vector<Part> parts_;
    size_t variable_ = 0;    // the part whose alternatives differ in length, or parts_.size()
    size_t headLength_ = 0;  // of the parts before it
    size_t tailLength_ = 0;  // of the parts behind it
    End end_ = End::exact;
};

}  // namespace Ferrow
