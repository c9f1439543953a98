#include "support/BusPeer.h"

#include <algorithm>
#include <future>
#include <map>
#include <stdexcept>

#include <brevant/library.h>

#include "bus/CallbackGate.h"
#include "platform/Sync.h"
#include "support/Beside.h"

namespace Support {

namespace {

std::u16string textOf(const char16_t* text) {
    return text ? std::u16string(text) : std::u16string();
}

BusMessage messageOf(const MessageHeader* header, const char16_t* name, const char16_t* sender,
                     const char16_t* payload) {
    BusMessage message{{}, textOf(name), textOf(sender), textOf(payload)};
    if (header)
        message.header = *header;
    return message;
}

using Outcome = std::pair<uint32_t, BusMessage>;

// Contexts are numbers, so that a reply that comes after its requester gave up finds nothing.
// The runtime's own mutex makes an event of the system when first contended, and a static one keeps it: tests
// that count handles would now and then see it.
constinit Platform::Mutex waitersMutex;
std::map<uint64_t, std::promise<Outcome>> waiters;
uint64_t nextWaiter = 1;

uint32_t onReply(void*, uint64_t index, const MessageHeader* header, const char16_t* name,
                 const char16_t* sender, const char16_t* payload, uint32_t status) {
    Platform::MutexLock lock(waitersMutex);
    auto waiter = waiters.extract(index);
    if (waiter.empty())
        return MODULE_STATUS_NOT_FOUND;
    waiter.mapped().set_value(
        {status, status == MODULE_STATUS_SUCCESS ? messageOf(header, name, sender, payload) : BusMessage()});
    return MODULE_STATUS_SUCCESS;
}

}  // namespace

MessageHeader plainHeader(uint32_t flags) {
    MessageHeader header = brevantDefaultHeader();
    header.totalSize = sizeof header + 6;
    header.flags = flags;
    return header;
}

struct BusPeer::Subscription {
    Tavix::CallbackGate gate;
    Handler handler;

    // Records stay for the whole process: the bus may call a moment after the subscription has ended.
    static std::vector<std::shared_ptr<Subscription>>& all() {
        static auto* subscriptions = new std::vector<std::shared_ptr<Subscription>>;
        return *subscriptions;
    }

    static uint32_t call(void* context, const MessageHeader* header, const char16_t* name,
                         const char16_t* sender, const char16_t* payload) {
        auto& self = *static_cast<Subscription*>(context);
        const Tavix::CallbackGate::Pass pass(self.gate);
        return pass ? self.handler(messageOf(header, name, sender, payload)) : MODULE_STATUS_SUCCESS;
    }
};

const BrevantBusFunctions* embeddedBus() {
    static const LoadedLibrary& library = *new LoadedLibrary(beside(u"MessageBus.dll"));
    if (!library)
        throw std::runtime_error("no MessageBus.dll beside the test program");
    const auto create = library.function<BrevantCreateObject>(BREVANT_EXPORT_CREATE_OBJECT);
    return static_cast<const BrevantBusFunctions*>(create(BREVANT_BUS_VERSION));
}

BusPeer::BusPeer(const BrevantBusFunctions* functions) : functions_(functions) {
    if (functions_->acquireHandle(&handle_) != MODULE_STATUS_SUCCESS)
        throw std::runtime_error("no bus handle");
}

BusPeer::~BusPeer() {
    for (uint32_t id : ids_)
        functions_->unsubscribe(handle_, id);
    for (auto& subscription : subscriptions_)
        subscription->gate.close();
    functions_->releaseReplyFunction(handle_, &onReply);
    functions_->releaseHandle(handle_);
}

void BusPeer::forgetEnded() {
    Platform::MutexLock lock(waitersMutex);
    Subscription::all().clear();
}

void BusPeer::onName(const std::u16string& name, Handler handler) {
    subscribe(functions_->subscribe, name, std::move(handler));
}

void BusPeer::onPattern(const std::u16string& pattern, Handler handler) {
    subscribe(functions_->subscribePattern, pattern, std::move(handler));
}

void BusPeer::subscribe(Entry entry, const std::u16string& text, Handler handler) {
    auto subscription = std::make_shared<Subscription>();
    subscription->handler = std::move(handler);
    subscriptions_.push_back(subscription);
    {
        Platform::MutexLock lock(waitersMutex);
        Subscription::all().push_back(subscription);
    }
    const uint32_t id = entry(handle_, subscription.get(), &Subscription::call, text.c_str());
    if (id == 0)
        throw std::runtime_error("subscription refused");
    ids_.push_back(id);
}

uint32_t BusPeer::publish(const std::u16string& name, const std::u16string& payload, uint32_t sessionId) {
    MessageHeader header = plainHeader();
    header.sessionId = sessionId;
    return functions_->publish(handle_, &header, name.c_str(), u"Peer", payload.c_str());
}

uint32_t BusPeer::reply(const BusMessage& request, const std::u16string& name,
                        const std::u16string& payload) {
    MessageHeader header = plainHeader();
    if (request.header.flags & BREVANT_MESSAGE_REPLY_REQUESTED) {
        brevantCorrelateReply(&header, &request.header);
    }
    const uint32_t status = functions_->publish(handle_, &header, name.c_str(), u"Peer", payload.c_str());
    if (status != MODULE_STATUS_SUCCESS || !(header.flags & BREVANT_MESSAGE_REPLY))
        return status;
    return publish(name, payload);
}

uint32_t BusPeer::request(const std::u16string& name, const std::u16string& payload, BusMessage& reply,
                          std::chrono::milliseconds timeout) {
    std::future<Outcome> outcome;
    uint64_t index;
    {
        Platform::MutexLock lock(waitersMutex);
        index = nextWaiter++;
        outcome = waiters[index].get_future();
    }
    MessageHeader header = plainHeader();
    uint32_t status =
        functions_->request(handle_, index, reinterpret_cast<void*>(uintptr_t{1}), &onReply, &header,
                            name.c_str(), u"Peer", payload.c_str(), static_cast<uint32_t>(timeout.count()));
    if (status == MODULE_STATUS_SUCCESS) {
        if (outcome.wait_for(timeout + std::chrono::seconds(5)) != std::future_status::ready)
            return MODULE_STATUS_TIMEOUT;
        std::tie(status, reply) = outcome.get();
    } else {
        Platform::MutexLock lock(waitersMutex);
        waiters.erase(index);
    }
    return status;
}

MessageLog::MessageLog(const std::vector<std::u16string>& patterns, const BrevantBusFunctions* functions)
    : peer_(functions) {
    for (const std::u16string& pattern : patterns) {
        peer_.onPattern(pattern, [this](const BusMessage& message) {
            return locked([&] { return messages_.push_back({message}), MODULE_STATUS_SUCCESS; });
        });
    }
}

std::optional<BusMessage> MessageLog::waitFor(const std::u16string& name) {
    std::optional<BusMessage> found;
    comes([&] {
        const auto at = std::ranges::find_if(
            messages_, [&](const Kept& message) { return !message.taken && message.name == name; });
        if (at != messages_.end()) {
            at->taken = true;
            found = *at;
        }
        return found.has_value();
    });
    return found;
}

std::vector<BusMessage> MessageLog::all(size_t count) const {
    comes([&] { return messages_.size() >= count; });
    return locked([&] { return std::vector<BusMessage>(messages_.begin(), messages_.end()); });
}

}  // namespace Support
