// The subscription table of a bus client.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "bus/BusCallbacks.h"
#include "bus/MessageBus.h"
#include "text/NamePattern.h"

namespace Tavix {

// A callback with its context, which the bus can no longer reach when this ends.
struct Subscription {
    explicit Subscription(MessageCallback function)
        : callback(std::make_shared<const MessageCallback>(std::move(function))),
          entry(messageContexts(), callback) {}

    uint32_t id = 0;  // the bus library's
    std::shared_ptr<const MessageCallback> callback;
    ContextEntry<const MessageCallback> entry;
};

struct PlainSubscription {
    std::u16string name;
    Subscription subscription;
};

struct PatternSubscription {
    std::u16string pattern;
    Ferrow::NamePattern compiled;
    Subscription subscription;
};

struct AliasEntry {
    std::vector<PlainSubscription> plain;
    std::vector<PatternSubscription> patterns;
};

using Subscriptions = std::map<std::u16string, AliasEntry, std::less<>>;

}  // namespace Tavix
