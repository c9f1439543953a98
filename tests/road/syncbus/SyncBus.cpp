// A message bus with none of the embedded bus's manners: it delivers everything on the calling thread, from
// inside publish, request and reply, and its requests that nobody answers at once time out at once. It is
// built as MessageBus.dll in a folder of its own, beside the tests that run on it.
#include <atomic>
#include <map>
#include <mutex>
#include <regex>
#include <string>
#include <vector>

#include <brevant/bus.h>
#include <brevant/library.h>

#include "platform/Export.h"

namespace {

struct Subscription {
    BrevantBusHandle handle;
    void* context;
    BrevantMessageFunction function;
    std::u16string text;
    bool pattern;
};

struct Request {
    BrevantBusHandle handle;
    uint64_t index;
    void* context;
    BrevantReplyFunction function;
};

std::recursive_mutex mutex;
std::map<uint32_t, Subscription> subscriptions;
std::map<uint64_t, Request> requests;
uintptr_t handles = 0;
uint32_t lastSubscription = 0;
std::atomic<uint64_t> lastRequest{0};
int openHandles = 0;

template <class Map>
typename Map::node_type take(Map& map, typename Map::key_type key) {
    std::lock_guard lock(mutex);
    return map.extract(key);
}

std::vector<Subscription> receivers(const std::u16string& name) {
    std::lock_guard lock(mutex);
    std::vector<Subscription> found;
    for (const auto& [id, subscription] : subscriptions) {
        const std::u16string& text = subscription.text;
        if (subscription.pattern ? std::regex_match(std::wstring(name.begin(), name.end()),
                                                    std::wregex(std::wstring(text.begin(), text.end())))
                                 : text == name)
            found.push_back(subscription);
    }
    return found;
}

uint32_t acquire(BrevantBusHandle* handle) {
    std::lock_guard lock(mutex);
    ++openHandles;
    *handle = reinterpret_cast<void*>(++handles);
    return MODULE_STATUS_SUCCESS;
}

uint32_t release(BrevantBusHandle) {
    std::lock_guard lock(mutex);
    --openHandles;
    return MODULE_STATUS_SUCCESS;
}

uint32_t publish(BrevantBusHandle, const MessageHeader* header, const char16_t* name, const char16_t* sender,
                 const char16_t* payload) {
    if (header->flags & BREVANT_MESSAGE_REPLY) {
        const auto taken = take(requests, header->replyCookie);
        if (taken.empty())
            return MODULE_STATUS_NOT_FOUND;
        const Request& request = taken.mapped();
        return request.function(request.context, request.index, header, name, sender, payload, 0);
    }
    for (const Subscription& subscription : receivers(name))
        subscription.function(subscription.context, header, name, sender, payload);
    return MODULE_STATUS_SUCCESS;
}

uint32_t request(BrevantBusHandle handle, uint64_t index, void* context, BrevantReplyFunction function,
                 const MessageHeader* header, const char16_t* name, const char16_t* sender,
                 const char16_t* payload, uint32_t) {
    const auto found = receivers(name);
    if (found.empty())
        return MODULE_STATUS_NO_SUBSCRIBERS;
    MessageHeader sent = *header;
    sent.flags |= BREVANT_MESSAGE_REPLY_REQUESTED;
    const uint64_t cookie = sent.requestCookie = ++lastRequest;
    {
        std::lock_guard lock(mutex);
        requests[cookie] = {handle, index, context, function};
    }
    for (const Subscription& subscription : found)
        subscription.function(subscription.context, &sent, name, sender, payload);
    if (take(requests, cookie))
        function(context, index, nullptr, nullptr, nullptr, nullptr, MODULE_STATUS_TIMEOUT);
    return MODULE_STATUS_SUCCESS;
}

template <bool pattern>
uint32_t subscribe(BrevantBusHandle handle, void* context, BrevantMessageFunction function,
                   const char16_t* text) {
    std::lock_guard lock(mutex);
    subscriptions[++lastSubscription] = {handle, context, function, text, pattern};
    return lastSubscription;
}

// Calls the subscription once more after it has ended, as a bus may that was just delivering to it.
uint32_t unsubscribe(BrevantBusHandle, uint32_t id) {
    const auto taken = take(subscriptions, id);
    if (taken.empty())
        return MODULE_STATUS_NOT_FOUND;
    const Subscription& late = taken.mapped();
    MessageHeader header{};
    header.version = BREVANT_MESSAGE_VERSION;
    late.function(late.context, &header, u"Late", nullptr, nullptr);
    return MODULE_STATUS_SUCCESS;
}

uint32_t releaseReplyFunction(BrevantBusHandle handle, BrevantReplyFunction function) {
    std::lock_guard lock(mutex);
    std::erase_if(requests, [&](const auto& entry) {
        return entry.second.handle == handle && entry.second.function == function;
    });
    return MODULE_STATUS_SUCCESS;
}

constexpr BrevantBusFunctions table = {acquire,          release,         publish,     request,
                                       subscribe<false>, subscribe<true>, unsubscribe, releaseReplyFunction,
                                       publish,          request};

}  // namespace

BREVANT_EXPORT void* CreateObject(uint32_t version) {
    return version == BREVANT_BUS_VERSION ? const_cast<BrevantBusFunctions*>(&table) : nullptr;
}
BREVANT_EXPORT void ReleaseObject(void*) {}
BREVANT_EXPORT const char* GetVersionStr() {
    return BREVANT_VERSION_TEXT;
}
BREVANT_EXPORT uint32_t GetVersionNum() {
    return BREVANT_VERSION_NUMBER;
}
// What is left behind: for the tests alone.
BREVANT_EXPORT int SyncBusOpenHandles() {
    std::lock_guard lock(mutex);
    return openHandles;
}
BREVANT_EXPORT size_t SyncBusSubscriptions() {
    std::lock_guard lock(mutex);
    return subscriptions.size();
}
