#include "support/FakeBus.h"

#include <algorithm>
#include <deque>
#include <map>
#include <utility>

#include "bus/MessageBusShimImpl.h"
#include "support/BusPeer.h"
#include "text/NamePattern.h"

namespace Support {

struct FakeBus::State : Monitor {
    struct Subscription {
        uint32_t id;
        void* context;
        BrevantMessageFunction function;
        std::u16string text;
        std::shared_ptr<Ferrow::NamePattern> pattern;  // empty for an exact name
    };
    struct Entry {
        std::deque<uint32_t> failures;
        std::function<void()> action;
        size_t calls = 0;
    };

    std::vector<Subscription> subscriptions;
    uint32_t lastId = 0;
    size_t handles = 0;
    std::vector<Sent> published, requests;
    std::map<std::u16string, Answerer> answerers;
    std::map<std::string, Entry> entries;
};

struct FakeBus::Table {
    // Which bus a handle belongs to.
    static inline std::mutex mutex;
    static inline std::map<uintptr_t, std::weak_ptr<State>> handles;
    static inline std::weak_ptr<State> latest;
    static inline uintptr_t lastHandle = 0;

    static BrevantBusHandle newHandle(const std::shared_ptr<State>& state) {
        std::lock_guard lock(mutex);
        handles[++lastHandle] = state;
        return reinterpret_cast<BrevantBusHandle>(lastHandle);
    }
    static std::shared_ptr<State> stateOf(BrevantBusHandle handle) {
        std::lock_guard lock(mutex);
        const auto found = handles.find(reinterpret_cast<uintptr_t>(handle));
        return found == handles.end() ? nullptr : found->second.lock();
    }

    // One call of an entry: `work` on the bus under its lock unless the call is to fail, then the action.
    template <class Work>
    static uint32_t call(const std::shared_ptr<State>& state, const char* name, Work&& work) {
        if (!state)
            return MODULE_STATUS_INVALID_HANDLE;
        std::function<void()> action;
        const uint32_t result = state->locked([&] {
            State::Entry& entry = state->entries[name];
            ++entry.calls;
            action = entry.action;
            if (entry.failures.empty())
                return work(*state);
            const uint32_t failure = entry.failures.front();
            entry.failures.pop_front();
            return failure;
        });
        if (action)
            action();
        return result;
    }

    static uint32_t acquireHandle(BrevantBusHandle* handle) {
        std::shared_ptr<State> state;
        {
            std::lock_guard lock(mutex);
            state = latest.lock();
        }
        return call(state, "acquireHandle", [&](State& bus) {
            ++bus.handles;
            *handle = newHandle(state);
            return MODULE_STATUS_SUCCESS;
        });
    }

    static uint32_t releaseHandle(BrevantBusHandle handle) {
        return call(stateOf(handle), "releaseHandle", [&](State& bus) {
            --bus.handles;
            std::lock_guard lock(mutex);
            handles.erase(reinterpret_cast<uintptr_t>(handle));
            return MODULE_STATUS_SUCCESS;
        });
    }

    template <bool alternate>
    static uint32_t publish(BrevantBusHandle handle, const MessageHeader* header, const char16_t* name,
                            const char16_t* sender, const char16_t* payload) {
        return call(stateOf(handle), alternate ? "publishAlternate" : "publish", [&](State& bus) {
            bus.published.push_back({name, sender, payload, *header, 0, alternate});
            return MODULE_STATUS_SUCCESS;
        });
    }

    template <bool alternate>
    static uint32_t request(BrevantBusHandle handle, uint64_t index, void* context,
                            BrevantReplyFunction function, const MessageHeader* header, const char16_t* name,
                            const char16_t* sender, const char16_t* payload, uint32_t timeout) {
        const Sent request{name, sender, payload, *header, timeout, alternate, index, context, function};
        Answerer answerer;
        const uint32_t status =
            call(stateOf(handle), alternate ? "requestAlternate" : "request", [&](State& bus) -> uint32_t {
                const auto found = bus.answerers.find(request.name);
                if (found == bus.answerers.end())
                    return MODULE_STATUS_NO_SUBSCRIBERS;
                answerer = found->second;
                bus.requests.push_back(request);
                return MODULE_STATUS_SUCCESS;
            });
        if (status != MODULE_STATUS_SUCCESS)
            return status;
        if (const auto answer = answerer(request))
            reply(request, *answer);
        return MODULE_STATUS_SUCCESS;
    }

    template <bool pattern>
    static uint32_t subscribe(BrevantBusHandle handle, void* context, BrevantMessageFunction function,
                              const char16_t* text) {
        uint32_t id = 0;  // a failure has none, whatever its status
        call(stateOf(handle), pattern ? "subscribePattern" : "subscribe", [&](State& bus) {
            bus.subscriptions.push_back({id = ++bus.lastId, context, function, text,
                                         pattern ? std::make_shared<Ferrow::NamePattern>(text) : nullptr});
            return MODULE_STATUS_SUCCESS;
        });
        return id;
    }

    static uint32_t unsubscribe(BrevantBusHandle handle, uint32_t id) {
        return call(stateOf(handle), "unsubscribe", [&](State& bus) {
            return std::erase_if(bus.subscriptions, [id](const auto& one) { return one.id == id; }) != 0
                       ? MODULE_STATUS_SUCCESS
                       : MODULE_STATUS_NOT_FOUND;
        });
    }

    static uint32_t releaseReplyFunction(BrevantBusHandle handle, BrevantReplyFunction) {
        return call(stateOf(handle), "releaseReplyFunction", [](State&) { return MODULE_STATUS_SUCCESS; });
    }

    static constexpr BrevantBusFunctions functions{
        acquireHandle,   releaseHandle, publish<false>,       request<false>, subscribe<false>,
        subscribe<true>, unsubscribe,   releaseReplyFunction, publish<true>,  request<true>,
    };
};

FakeBus::FakeBus() : state_(std::make_shared<State>()), handle_(Table::newHandle(state_)) {
    std::lock_guard lock(Table::mutex);
    Table::latest = state_;
}

const BrevantBusFunctions* FakeBus::functions() {
    return &Table::functions;
}

BrevantBusHandle FakeBus::handle() const {
    return handle_;
}

std::shared_ptr<Tavix::MessageBusClient> FakeBus::makeClient(std::shared_ptr<Tavix::ProcessAPI> processApi,
                                                             const Platform::Clock& clock) {
    return std::make_shared<Tavix::MessageBusClient>(
        std::make_shared<Tavix::MessageBusShimImpl>(Table::newHandle(state_), functions()),
        std::move(processApi), clock);
}

uint32_t FakeBus::deliver(const std::u16string& name, const std::u16string& payload,
                          const std::u16string& sender, const MessageHeader* header) {
    const auto subscriptions = state_->locked([&] { return state_->subscriptions; });
    const MessageHeader plain = plainHeader();
    uint32_t status = MODULE_STATUS_SUCCESS;
    for (const State::Subscription& one : subscriptions) {
        if (one.pattern ? one.pattern->matches(name) : one.text == name)
            status = one.function(one.context, header ? header : &plain, name.c_str(), sender.c_str(),
                                  payload.c_str());
    }
    return status;
}

void FakeBus::answer(const std::u16string& name, Answerer answerer) {
    state_->locked([&] { state_->answerers[name] = std::move(answerer); });
}

uint32_t FakeBus::reply(const Sent& request, const Answer& answer) {
    const MessageHeader header = plainHeader(BREVANT_MESSAGE_REPLY);
    if (answer.status != MODULE_STATUS_SUCCESS)
        return request.replyFunction(request.replyContext, request.replyIndex, nullptr, nullptr, nullptr,
                                     nullptr, answer.status);
    return request.replyFunction(request.replyContext, request.replyIndex, &header, answer.name.c_str(),
                                 u"FakeBus", answer.payload.c_str(), MODULE_STATUS_SUCCESS);
}

std::vector<FakeBus::Sent> FakeBus::published() const {
    return state_->locked([&] { return state_->published; });
}

std::vector<FakeBus::Sent> FakeBus::requests() const {
    return state_->locked([&] { return state_->requests; });
}

bool FakeBus::waitForPublished(const std::u16string& name) const {
    return state_->comes(
        [&] { return std::ranges::find(state_->published, name, &Sent::name) != state_->published.end(); });
}

size_t FakeBus::subscriptionCount() const {
    return state_->locked([&] { return state_->subscriptions.size(); });
}

size_t FakeBus::handleCount() const {
    return state_->locked([&] { return state_->handles; });
}

void FakeBus::failNext(const std::string& entry, uint32_t status) {
    state_->locked([&] { state_->entries[entry].failures.push_back(status); });
}

void FakeBus::whenCalled(const std::string& entry, std::function<void()> action) {
    state_->locked([&] { state_->entries[entry].action = std::move(action); });
}

size_t FakeBus::callCount(const std::string& entry) const {
    return state_->locked([&] { return state_->entries[entry].calls; });
}

}  // namespace Support
