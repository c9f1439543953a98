// How alerts that display the same texts are told.
#pragma once

#include <cstddef>

namespace Vok {

struct AlertContext;

// Stands for the texts that count, so that a waiting alert need not keep them a second time: alerts with
// different keys display different texts.
struct DuplicateKey {
    size_t hash = 0;
    size_t actions = 0;  // how many

    bool operator==(const DuplicateKey&) const = default;
};

DuplicateKey duplicateKeyOf(const AlertContext& context);
// Title, contents and the texts of the actions, in order.
bool displaySameTexts(const AlertContext& one, const AlertContext& other);

}  // namespace Vok
