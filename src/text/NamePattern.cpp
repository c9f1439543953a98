#include "text/NamePattern.h"

#include <algorithm>
#include <optional>
#include <regex>

#include "text/DirectPattern.h"
#include "text/PatternComplexity.h"
#include "text/Utf.h"

namespace Ferrow {
namespace {

// The plain characters that every match begins with: a name without them need not be converted for the
// engine.
std::u16string literalHead(std::u16string_view pattern) {
    if (pattern.find(u'|') != pattern.npos)
        return {};
    if (pattern.starts_with(u'^'))
        pattern.remove_prefix(1);
    const size_t length = std::min(pattern.find_first_of(u"^$\\.*+?()[]{}|"), pattern.size());
    constexpr std::u16string_view quantifiers = u"*?{+";
    const bool quantified =
        length > 0 && length < pattern.size() && quantifiers.find(pattern[length]) != quantifiers.npos;
    return std::u16string(pattern.substr(0, quantified ? length - 1 : length));
}

struct EnginePattern {
    explicit EnginePattern(std::u16string_view pattern) : head(literalHead(pattern)) {
        checkPatternComplexity(pattern);
        using namespace std::regex_constants;
        // The engine's default executor calls itself once per unit of the name; this one does not.
        regex.assign(toWideUnits(pattern), ECMAScript | nosubs | optimize | __polynomial);
    }

    bool matches(const MatchName& name) const {
        return name.text().starts_with(head) && std::regex_match(name.wide(), regex);
    }

    std::u16string head;
    std::wregex regex;
};

}  // namespace

const std::wstring& MatchName::wide() const {
    if (!wide_)
        wide_ = std::make_unique<std::wstring>(toWideUnits(name_));
    return *wide_;
}

struct NamePattern::Compiled {
    std::optional<DirectPattern> direct;
    std::optional<EnginePattern> engine;
};

NamePattern::NamePattern(std::u16string_view pattern) {
    auto compiled = std::make_unique<Compiled>();
    compiled->direct = DirectPattern::parse(pattern);
    if (!compiled->direct)
        compiled->engine.emplace(pattern);
    compiled_ = std::move(compiled);
}

NamePattern::~NamePattern() = default;
NamePattern::NamePattern(NamePattern&&) noexcept = default;
NamePattern& NamePattern::operator=(NamePattern&&) noexcept = default;

bool NamePattern::matches(const MatchName& name) const {
    return compiled_->direct ? compiled_->direct->matches(name.text()) : compiled_->engine->matches(name);
}

}  // namespace Ferrow
