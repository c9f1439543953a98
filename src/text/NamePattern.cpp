#include "text/NamePattern.h"

#include <optional>
#include <regex>

#include "text/DirectPattern.h"
#include "text/PatternComplexity.h"
#include "text/PatternHead.h"
#include "text/Utf.h"

namespace Ferrow {
namespace {

struct EnginePattern {
    explicit EnginePattern(std::u16string_view pattern) : head(patternHead(pattern)) {
        checkPatternComplexity(pattern);
        using namespace std::regex_constants;
        // The engine's default executor calls itself once per unit of the name; this one does not.
        regex.assign(toWideUnits(pattern), ECMAScript | nosubs | optimize | __polynomial);
    }

    bool matches(const MatchName& name) const {
        return head.fits(name.text()) && std::regex_match(name.wide(), regex);
    }

    // A name without it need not be converted for the engine.
    PatternHead head;
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
