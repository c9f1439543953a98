#include "text/PatternComplexity.h"

#include <algorithm>
#include <array>
#include <optional>
#include <regex>

#include "text/PatternSyntax.h"

namespace Ferrow {
namespace {

// A class is as slow to test as four characters.
constexpr size_t classStates = 4;
constexpr size_t groupStates = 2;
constexpr size_t alternativeStates = 3;
constexpr size_t repetitionStates = 2;

[[noreturn]] void refuse() {
    throw std::regex_error(std::regex_constants::error_complexity);
}

// Walks through a pattern as the engine's scanner does and counts the states that it would build.
class StateCounter {
public:
    explicit StateCounter(std::u16string_view pattern) : pattern_(pattern) {}

    void run() {
        while (at_ < pattern_.size())
            step();
    }

private:
    char16_t peek() const { return at_ < pattern_.size() ? pattern_[at_] : u'\0'; }

    void step() {
        const char16_t unit = pattern_[at_++];
        const bool atStart = onlyLookaheadSoFar_;
        onlyLookaheadSoFar_ = false;
        switch (unit) {
            case u'\\':
                escape();
                break;
            case u'[':
                bracket();
                break;
            case u'(':
                openGroup(atStart);
                break;
            case u')':
                closeGroup();
                break;
            case u'|':
                add(alternativeStates);
                break;
            case u'*':
            case u'+':
                openRepetition();
                add(repetitionStates);
                break;
            case u'?':
                add(repetitionStates);
                break;
            case u'{':
                repeat();
                break;
            case u'^':
                onlyLookaheadSoFar_ = at_ == 1;
                atom(1);
                break;
            default:
                atom(1);
                break;
        }
    }

    void add(size_t states) {
        total_ += states;
        if (total_ > greatestPatternStates || total_ - loopStart_.value_or(total_) > greatestLoopingStates)
            refuse();
    }

    void atom(size_t states) {
        atomStart_ = total_;
        add(states);
    }

    void escape() {
        const char16_t letter = peek();
        at_ = std::min(at_ + 1, pattern_.size());
        if (letter == PatternSyntax::controlEscape)
            at_ = std::min(at_ + 1, pattern_.size());
        atom(PatternSyntax::isClassEscape(letter) ? classStates : 1);
    }

    void bracket() {
        atom(classStates);
        while (at_ < pattern_.size()) {
            const char16_t unit = pattern_[at_++];
            if (unit == u']')
                return;
            if (unit == u'\\') {
                at_ += peek() == PatternSyntax::controlEscape ? 2 : 1;
            } else if (unit == u'[' && (peek() == u':' || peek() == u'.' || peek() == u'=')) {
                const size_t end = pattern_.find(pattern_[at_], at_ + 1);
                at_ = end == pattern_.npos ? pattern_.size() : end + 2;
            }
        }
    }

    void openGroup(bool atStart) {
        if (depth_ == starts_.size())
            refuse();
        Group& group = starts_[depth_++];
        group = {total_, false};
        if (peek() == u'?') {
            ++at_;
            if (peek() != u':') {
                group.lookahead = true;
                if (!atStart || depth_ > 1)
                    refuse();
            }
            ++at_;
        }
        add(groupStates);
    }

    void closeGroup() {
        if (depth_ == 0)
            return;  // malformed
        --depth_;
        atomStart_ = starts_[depth_].start;
        onlyLookaheadSoFar_ = starts_[depth_].lookahead;
    }

    void openRepetition() { loopStart_ = std::min(loopStart_.value_or(atomStart_), atomStart_); }

    std::optional<size_t> number() {
        std::optional<size_t> value;
        for (; peek() >= u'0' && peek() <= u'9'; ++at_)
            value = std::min(value.value_or(0) * 10 + (peek() - u'0'), greatestPatternStates + 1);
        return value;
    }

    void repeat() {
        size_t times = number().value_or(0);
        bool open = false;
        if (peek() == u',') {
            ++at_;
            const std::optional<size_t> most = number();
            open = !most;
            times = std::max(times, most.value_or(times + 1));
        }
        if (peek() == u'}')
            ++at_;
        if (open)
            openRepetition();
        // Every repeat is a copy of the atom, an optional one with a state of its own.
        const size_t atomStates = total_ - atomStart_ + 1;
        add(repetitionStates + atomStates * times);
    }

    struct Group {
        size_t start;
        bool lookahead;
    };

    std::u16string_view pattern_;
    size_t at_ = 0;
    size_t total_ = 0;
    size_t atomStart_ = 0;             // states before the atom that a quantifier here would repeat
    std::optional<size_t> loopStart_;  // states before the first atom that repeats without end
    bool onlyLookaheadSoFar_ = true;
    std::array<Group, greatestPatternNesting> starts_{};
    size_t depth_ = 0;
};

}  // namespace

void checkPatternComplexity(std::u16string_view pattern) {
    StateCounter(pattern).run();
}

}  // namespace Ferrow
