// An ECMAScript regular expression that is matched against whole message names.
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace Ferrow {

// A name made ready for matching against many patterns: what the engine needs of it is computed at most once.
// Holds no copy of the name, which must outlive it. Not for concurrent use.
class MatchName {
public:
    explicit MatchName(std::u16string_view name) noexcept : name_(name) {}
    std::u16string_view text() const noexcept { return name_; }
    const std::wstring& wide() const;

private:
    std::u16string_view name_;
    mutable std::unique_ptr<std::wstring> wide_;
};

// Patterns and names come from outside: both cost bounded stack and time, whatever their length. Sequences of
// plain characters, ".", escaped punctuation, a group of such alternatives and open ends (".*", ".+") are
// compared directly, whatever their length; what needs the engine is refused beyond a stated complexity.
class NamePattern {
public:
    // Throws std::regex_error when the pattern is malformed or more complex than the engine is trusted with.
    explicit NamePattern(std::u16string_view pattern);
    ~NamePattern();
    NamePattern(NamePattern&&) noexcept;
    NamePattern& operator=(NamePattern&&) noexcept;

    bool matches(const MatchName& name) const;
    bool matches(std::u16string_view name) const { return matches(MatchName(name)); }

private:
    struct Compiled;
    std::unique_ptr<const Compiled> compiled_;
};

}  // namespace Ferrow
