// The rules of alert descriptions, one numbering with docs/alerts.md.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace Host {

enum class Level : uint8_t {
    error,    // the broker refuses the description, or does not see its outcome
    warning,  // the broker takes it, and not all of it counts as written
    note,     // as one may want it
};
const char16_t* levelName(Level level) noexcept;

// In the order of the table behind alertRules().
enum class AlertRule : uint8_t {
    fileSize,
    encoding,
    syntax,
    numberRange,
    depth,
    object,
    moreProblems,
    requiredMember,
    memberKind,
    memberValue,
    priorityForm,
    ignoredMember,
    unknownMember,
    repeatedMember,
    instanceId,
    session,
    noViewer,
    idZero,
    idPattern,
    cutName,
    emptyName,
    title,
    contextKind,
    contextList,
    option,
    action,
    message,
    misspelt,
    contextMember,
    duplicatesOff,
    optionIds,
    sameIds,
    defaults,
};

struct AlertRuleText {
    const char16_t* number;
    const char16_t* name;
    Level level;
    const char16_t* sentence;
};

std::span<const AlertRuleText> alertRules() noexcept;
inline const AlertRuleText& textOf(AlertRule rule) noexcept {
    return alertRules()[static_cast<size_t>(rule)];
}

}  // namespace Host
