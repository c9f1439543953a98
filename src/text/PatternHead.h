// What every name that a pattern matches begins with.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Ferrow {

// A fixed number of units, some of which may be anything. An empty head fits every name.
struct PatternHead {
    std::u16string units;             // zero where anything may stand
    std::vector<uint16_t> wildcards;  // the positions of those, ascending

    // Whether the name is long enough; then head becomes its beginning with zeros at the wildcards.
    bool cut(std::u16string_view name, std::u16string& head) const;
    // Whether a match of the pattern can have this name.
    bool fits(std::u16string_view name) const;
};

// The head of a well-formed ECMAScript pattern, at most 128 units of it. Never longer than what all matching
// names have in common; shorter where telling would take a parser.
PatternHead patternHead(std::u16string_view pattern);

}  // namespace Ferrow
