// An event about an alert as one line, so that a test can say it in one.
#pragma once

#include <string>

#include "telemetry/DimensionMap.h"

namespace Support {

// The values of the dimensions that the broker sets, in this order, "-" for one that is absent:
// identifier, category, action, interactive, user-initiated, sub- and tertiary category, alert, label,
// result, viewer or product.
inline std::u16string eventRow(const Tavix::Analytics::DimensionMap& event) {
    std::u16string row;
    for (const char16_t* name : {u"UniqueIdentifier", u"Event.Category", u"Event.Action", u"Interactive",
                                 u"UserInitiated", u"Sub.Category", u"Tertiary.Category", u"Hit.GUID",
                                 u"Event.Label", u"Hit.Result", u"Hit.Label.1"}) {
        const auto found = event.find(name);
        row += (row.empty() ? u"" : u" ") + (found == event.end() ? u"-" : found->second);
    }
    return row;
}

}  // namespace Support
