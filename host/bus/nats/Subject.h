// Names of messages as subjects of the server.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace MessageBus {

// A subject is tokens with dots between them. A word of a name becomes a token: its UTF-8, every byte outside
// [A-Za-z0-9_{}/-] as "%" and two digits; "%E" for the empty word, "%u" and four digits for a lone surrogate.
// Digits are hexadecimal, in upper case. A name that would take more than longestSubject bytes keeps the
// words that fit, then "%L" and the sixteen digits of fnv1a64 over its UTF-16 units, low bytes first.
constexpr size_t longestSubject = 3000;

// Without what stands before the name's own tokens.
std::string subjectOf(std::u16string_view name);
uint64_t fnv1a64(std::u16string_view name) noexcept;

// What a pattern asks of the server: tokens that all names it matches begin with.
struct PatternSubject {
    std::string head;  // empty: every name
    // The pattern matches whatever has a word more than the head, but for an empty last word, and line ends.
    bool isWhole = false;

    // To be put behind what stands before the names' tokens.
    std::string subject() const { return head.empty() ? ">" : head + ".>"; }
};
PatternSubject patternSubject(std::u16string_view pattern);

}  // namespace MessageBus
