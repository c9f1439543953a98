// Looks for all that is wrong with an alert description in a file.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/program/checks/AlertRules.h"
#include "host/program/checks/JsonPlaces.h"

namespace Host {

struct Finding {
    AlertRule rule = AlertRule::syntax;
    TextPlace place;
    std::u16string pointer;  // JSON pointer; empty: the whole description
    std::u16string message;
    std::vector<std::u16string> accepted;  // values, where there are few

    const AlertRuleText& text() const noexcept { return textOf(rule); }
};

// The bytes of the file. In the order of the text; none: nothing is to be said of it. Of a text that is no
// JSON, where that shows.
std::vector<Finding> checkAlert(std::string_view bytes);

}  // namespace Host
