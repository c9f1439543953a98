// The settings manager's side of include/brevant/settings.h: what each request's payload asks of the store,
// and what answers it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/program/settings/SettingsStore.h"

namespace Host {

// A message that tells everybody of a change.
struct SettingsNotice {
    std::u16string name;
    std::u16string payload;
};

struct SettingsAnswer {
    bool understood =
        false;  // whether the payload made sense; the answer is one that its sender can read anyway
    std::u16string payload;
    std::vector<SettingsNotice> notices;  // in the order of the changes
};

// Answers one request. The topic is one of the six requests. A property that is set again to the value that
// it has is announced again. A prefix that is removed is answered with itself as the name; the empty prefix,
// which would empty the store, is refused.
SettingsAnswer answerSettingsRequest(SettingsStore& store, std::u16string_view topic,
                                     const std::u16string& payload);

}  // namespace Host
