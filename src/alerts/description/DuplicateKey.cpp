#include "alerts/description/DuplicateKey.h"

#include <algorithm>
#include <functional>
#include <string_view>

#include "alerts/description/AlertContext.h"

namespace Vok {

DuplicateKey duplicateKeyOf(const AlertContext& context) {
    size_t sum = context.actions.size();
    const auto add = [&sum](std::u16string_view text) {
        sum ^= std::hash<std::u16string_view>()(text) + 0x9e3779b97f4a7c15u + (sum << 6) + (sum >> 2);
    };
    for (const AlertAction& action : context.actions)
        add(action.text);
    add(context.title);
    add(context.defaultcontent);
    add(context.detailscontent);
    return {sum, context.actions.size()};
}

bool displaySameTexts(const AlertContext& one, const AlertContext& other) {
    return one.title == other.title && one.defaultcontent == other.defaultcontent &&
           one.detailscontent == other.detailscontent &&
           std::ranges::equal(one.actions, other.actions, {}, &AlertAction::text, &AlertAction::text);
}

}  // namespace Vok
