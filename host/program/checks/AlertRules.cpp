#include "host/program/checks/AlertRules.h"

#include <utility>

namespace Host {
namespace {

constexpr AlertRuleText rules[] = {
    {u"A101", u"file-size", Level::error, u"A file has at most 4 MiB."},
    {u"A102", u"encoding", Level::error, u"A file is UTF-8."},
    {u"A103", u"syntax", Level::error,
     u"A file is JSON to the letter: no comments, no trailing commas, nothing behind the end."},
    {u"A104", u"number-range", Level::error, u"A number is one that a double can hold."},
    {u"A105", u"depth", Level::error, u"Objects and lists nest at most 512 deep, the outermost counted."},
    {u"A106", u"object", Level::error, u"A description is one object."},
    {u"A107", u"more-problems", Level::error,
     u"A file has at most 200 errors and warnings; more, and notes beyond 50, are not listed."},
    {u"A201", u"required-member", Level::error, u"A required member is there."},
    {u"A202", u"member-kind", Level::error,
     u"A required member, instanceId and preferredViewer are of their kind."},
    {u"A203", u"member-value", Level::error, u"A member with a list of accepted values has one of them."},
    {u"A204", u"priority-form", Level::warning,
     u"A priority is P1, P2 or P3 to the letter; the broker reads more, \"brevant show\" does not."},
    {u"A205", u"ignored-member", Level::warning,
     u"A member that is not required is of its kind, or is ignored."},
    {u"A206", u"unknown-member", Level::warning,
     u"A member of the description is known, or the broker drops it."},
    {u"A207", u"repeated-member", Level::warning, u"A member is there once; of several the first counts."},
    {u"A208", u"instance-id", Level::note, u"instanceId in a file is replaced by what the broker hands out."},
    {u"A209", u"session", Level::note,
     u"sessionId is not compared with the sessions of any machine: the alert waits until that one is "
     u"active."},
    {u"A210", u"no-viewer", Level::note,
     u"Without a preferred viewer the alert is shown only if its plugin names one."},
    {u"A301", u"id-zero", Level::error, u"An id holds no zero character: names of messages end there."},
    {u"A302", u"id-pattern", Level::error,
     u"An id holds none of ^ $ \\ * + ? ( ) [ ] |: its outcome is awaited under a pattern that it would not "
     u"match."},
    {u"A303", u"cut-name", Level::warning,
     u"The name of a product, viewer or message holds no zero character: it ends there."},
    {u"A304", u"empty-name", Level::warning, u"The name of an alert, product or viewer is not empty."},
    {u"A401", u"title", Level::warning,
     u"context has a title; without one the broker reads none of it, and the alert is the duplicate of every "
     u"other such one."},
    {u"A402", u"context-kind", Level::warning,
     u"A member inside context is of its kind, or counts as missing."},
    {u"A403", u"context-list", Level::warning,
     u"A list inside context holds objects; the broker reads it up to the first other element."},
    {u"A404", u"option", Level::warning,
     u"An option has id, text and selected; at the first without one the broker stops reading context, "
     u"before its "
     u"actions."},
    {u"A405", u"action", Level::warning,
     u"An action has id and text; at the first without one the broker stops reading context."},
    {u"A406", u"message", Level::warning,
     u"An action has a defaultmessage, and a message has a name; a choice without them is told to nobody."},
    {u"A407", u"misspelt", Level::warning,
     u"A member inside context is not another one with a slip of the pen."},
    {u"A408", u"context-member", Level::note,
     u"A member inside context that the broker does not know is the viewer's business."},
    {u"A409", u"duplicates-off", Level::note,
     u"With five actions or more an alert is never the duplicate of another."},
    {u"A410", u"option-ids", Level::warning, u"idList names options of this alert."},
    {u"A411", u"same-ids", Level::warning, u"Actions have different ids, and so have options."},
    {u"A412", u"defaults", Level::warning, u"At most one action is the default one."},
};
static_assert(std::size(rules) == static_cast<size_t>(AlertRule::defaults) + 1);

}  // namespace

std::span<const AlertRuleText> alertRules() noexcept {
    return rules;
}

const char16_t* levelName(Level level) noexcept {
    constexpr const char16_t* names[] = {u"error", u"warning", u"note"};
    return names[static_cast<size_t>(level)];
}

}  // namespace Host
