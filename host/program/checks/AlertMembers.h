// The members of a description, and of what nests in it, by the kinds that the broker reads them as.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include <brevant/alerts.h>

#include "json/JSONValue.h"

namespace Host {

enum class Kind : uint8_t { text, number, flag, texts, objects, object };

bool isOf(Kind kind, const Tavix::JSONValue& value);
// With its article.
const char16_t* nameOf(Kind kind);
// The same of what is there.
const char16_t* kindOf(const Tavix::JSONValue& value);

struct MemberKind {
    std::u16string_view name;
    Kind kind;
};

inline constexpr MemberKind descriptionMembers[] = {
    {BREVANT_DESCRIPTION_ID, Kind::text},
    {BREVANT_DESCRIPTION_INSTANCE_ID, Kind::text},
    {BREVANT_DESCRIPTION_PRIORITY, Kind::text},
    {BREVANT_DESCRIPTION_PRODUCT, Kind::text},
    {BREVANT_DESCRIPTION_SOURCE, Kind::text},
    {BREVANT_DESCRIPTION_FORCE_PREFERRED_VIEWER, Kind::flag},
    {BREVANT_DESCRIPTION_PREFERRED_VIEWER, Kind::texts},
    {BREVANT_DESCRIPTION_CONTENT, Kind::text},
    {BREVANT_DESCRIPTION_TIMEOUT, Kind::number},
    {BREVANT_DESCRIPTION_SESSION_ID, Kind::number},
    {BREVANT_DESCRIPTION_CONTEXT, Kind::object},
    {u"$schema", Kind::text},  // for editors; the broker drops it
};

inline constexpr MemberKind contextMembers[] = {
    {BREVANT_CONTEXT_TITLE, Kind::text},
    {BREVANT_CONTEXT_CATEGORY, Kind::text},
    {BREVANT_CONTEXT_SHORT_DESCRIPTION, Kind::text},
    {BREVANT_CONTEXT_LONG_DESCRIPTION, Kind::text},
    {BREVANT_CONTEXT_LANGUAGE_ID, Kind::text},
    {BREVANT_CONTEXT_DETAILS_CONTENT, Kind::text},
    {BREVANT_CONTEXT_DEFAULT_CONTENT, Kind::text},
    {BREVANT_CONTEXT_RECOMMENDED_TEXT, Kind::text},
    {BREVANT_CONTEXT_DETAIL_LINK_TEXT, Kind::text},
    {BREVANT_CONTEXT_DETAIL_LINK_CONTEXT, Kind::text},
    {BREVANT_CONTEXT_APPLICATION_ID, Kind::text},
    {BREVANT_CONTEXT_PLUGIN, Kind::text},
    {BREVANT_CONTEXT_MARKET_DESCRIPTION, Kind::text},
    {BREVANT_CONTEXT_TYPE_DESCRIPTION, Kind::text},
    {BREVANT_CONTEXT_TELEMETRY, Kind::text},
    {BREVANT_CONTEXT_TIMEOUT, Kind::number},
    {BREVANT_CONTEXT_WIDTH, Kind::number},
    {BREVANT_CONTEXT_STATUS, Kind::number},
    {BREVANT_CONTEXT_DETAIL_LINK_TYPE, Kind::number},
    {BREVANT_CONTEXT_LEGACY, Kind::flag},
    {BREVANT_CONTEXT_TIMEOUT_ACTIONS, Kind::objects},
    {BREVANT_CONTEXT_DISMISSAL_ACTIONS, Kind::objects},
    {BREVANT_CONTEXT_ACTIONS, Kind::objects},
    {BREVANT_CONTEXT_OPTIONS, Kind::objects},
};

inline constexpr MemberKind messageMembers[] = {
    {BREVANT_CHOICE_MESSAGE_NAME, Kind::text},
    {BREVANT_CHOICE_PAYLOAD, Kind::text},
};

inline constexpr MemberKind actionMembers[] = {
    {BREVANT_ACTION_ID, Kind::text},         {BREVANT_ACTION_TEXT, Kind::text},
    {BREVANT_ACTION_DEFAULT, Kind::flag},    {BREVANT_ACTION_DEFAULT_MESSAGE, Kind::object},
    {BREVANT_ACTION_OPTIONS, Kind::objects},
};

inline constexpr MemberKind actionOptionMembers[] = {
    {BREVANT_ACTION_OPTION_IDS, Kind::texts},
    {BREVANT_ACTION_OPTION_MESSAGE, Kind::object},
};

inline constexpr MemberKind optionMembers[] = {
    {BREVANT_OPTION_ID, Kind::text},
    {BREVANT_OPTION_TEXT, Kind::text},
    {BREVANT_OPTION_SELECTED, Kind::flag},
};

// The known name that may have been meant by another; empty when none is near.
std::u16string_view nearest(std::u16string_view written, std::span<const MemberKind> known);

}  // namespace Host
