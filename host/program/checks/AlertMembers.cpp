#include "host/program/checks/AlertMembers.h"

#include <algorithm>
#include <vector>

#include "text/Utf.h"

namespace Host {
namespace {

// Insertions, deletions, replacements and swaps of neighbours that make one of the other.
size_t distanceOf(std::u16string_view one, std::u16string_view other) {
    std::vector<std::vector<size_t>> steps(one.size() + 1, std::vector<size_t>(other.size() + 1));
    for (size_t i = 0; i <= one.size(); ++i) {
        for (size_t j = 0; j <= other.size(); ++j) {
            if (i == 0 || j == 0) {
                steps[i][j] = i + j;
                continue;
            }
            steps[i][j] = std::min({steps[i - 1][j] + 1, steps[i][j - 1] + 1,
                                    steps[i - 1][j - 1] + (one[i - 1] != other[j - 1])});
            if (i > 1 && j > 1 && one[i - 1] == other[j - 2] && one[i - 2] == other[j - 1])
                steps[i][j] = std::min(steps[i][j], steps[i - 2][j - 2] + 1);
        }
    }
    return steps.back().back();
}

}  // namespace

bool isOf(Kind kind, const Tavix::JSONValue& value) {
    switch (kind) {
        case Kind::text:
            return value.IsString();
        case Kind::number:
            return value.IsUint();
        case Kind::flag:
            return value.IsBool();
        case Kind::texts:
        case Kind::objects:
            return value.IsArray();
        case Kind::object:
            break;
    }
    return value.IsObject();
}

const char16_t* nameOf(Kind kind) {
    constexpr const char16_t* names[] = {u"a text",
                                         u"a whole number from 0 to 4294967295",
                                         u"true or false",
                                         u"a list of texts",
                                         u"a list of objects",
                                         u"an object"};
    return names[static_cast<size_t>(kind)];
}

const char16_t* kindOf(const Tavix::JSONValue& value) {
    if (value.IsUint())
        return u"a number";
    if (value.IsNumber())
        return u"a number of another form";
    if (value.IsString())
        return u"a text";
    if (value.IsBool())
        return u"true or false";
    if (value.IsNull())
        return u"null";
    return value.IsArray() ? u"a list" : u"an object";
}

std::u16string_view nearest(std::u16string_view written, std::span<const MemberKind> known) {
    constexpr size_t longest = 40, charactersPerSlip = 4, mostSlips = 2;
    std::u16string_view best;
    if (written.size() > longest)
        return best;
    const std::u16string lower = Ferrow::toLowerAscii(written);
    size_t least = mostSlips + 1;
    for (const MemberKind& member : known) {
        if (std::max(lower.size(), member.name.size()) >
            std::min(lower.size(), member.name.size()) + mostSlips)
            continue;
        const size_t slips = distanceOf(lower, Ferrow::toLowerAscii(member.name));
        if (slips < least && slips * charactersPerSlip <= member.name.size())
            least = slips, best = member.name;
    }
    return best;
}

}  // namespace Host
