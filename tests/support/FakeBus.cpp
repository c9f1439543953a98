#include "support/FakeBus.h"

#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <regex>
#include <thread>
#include <utility>

#include "bus/MessageBusShimImpl.h"
#include "text/NamePattern.h"

namespace Support {
namespace {

MessageHeader headerOf(uint32_t flags) {
    MessageHeader header{};
    header.headerKind = 1;
    header.flags = flags;
    header.version = BREVANT_MESSAGE_VERSION;
    header.extensionTag = BREVANT_MESSAGE_EXTENSION_TAG;
    header.extensionLength = BREVANT_MESSAGE_EXTENSION_LENGTH;
    return header;
}

}  // namespace

struct FakeBus::State {
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

    mutable std::mutex mutex;
    mutable std::condition_variable sent;
    std::vector<Subscription> subscriptions;
    uint32_t lastId = 0;
    size_t handles = 0;
    std::vector<Sent> published, requests;
    std::map<std::u16string, std::pair<Answerer, Answering>> answerers;
    std::vector<std::thread> answers;
    std::map<std::string, Entry> entries;

    // Runs one call of an entry: `work` under the lock unless the call is to fail, then the action.
    template <class Work>
    uint32_t call(const std::string& name, Work&& work) {
        std::function<void()> action;
        uint32_t result;
        {
            std::lock_guard lock(mutex);
            Entry& entry = entries[name];
            ++entry.calls;
            action = entry.action;
            if (entry.failures.empty()) {
                result = work();
            } else {
                result = entry.failures.front();
                entry.failures.pop_front();
            }
        }
        if (action)
            action();
        return result;
    }
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
    static bool forget(BrevantBusHandle handle) {
        std::lock_guard lock(mutex);
        return handles.erase(reinterpret_cast<uintptr_t>(handle)) != 0;
    }
    static std::shared_ptr<State> latestState() {
        std::lock_guard lock(mutex);
        return latest.lock();
    }

    static uint32_t acquireHandle(BrevantBusHandle* handle) {
        const auto state = latestState();
        if (!state)
            return MODULE_STATUS_NOT_FOUND;
        return state->call("acquireHandle", [&] {
            ++state->handles;
            *handle = newHandle(state);
            return MODULE_STATUS_SUCCESS;
        });
    }

    static uint32_t releaseHandle(BrevantBusHandle handle) {
        const auto state = stateOf(handle);
        if (!state)
            return MODULE_STATUS_INVALID_HANDLE;
        return state->call("releaseHandle", [&] {
            --state->handles;
            return forget(handle) ? MODULE_STATUS_SUCCESS : MODULE_STATUS_INVALID_HANDLE;
        });
    }

    template <bool alternate>
    static uint32_t publish(BrevantBusHandle handle, const MessageHeader* header, const char16_t* name,
                            const char16_t* sender, const char16_t* payload) {
        const auto state = stateOf(handle);
        if (!state)
            return MODULE_STATUS_INVALID_HANDLE;
        return state->call(alternate ? "publishAlternate" : "publish", [&] {
            state->published.push_back({name, sender, payload, *header, 0, alternate});
            state->sent.notify_all();
            return MODULE_STATUS_SUCCESS;
        });
    }

    template <bool alternate>
    static uint32_t request(BrevantBusHandle handle, uint64_t index, void* context,
                            BrevantReplyFunction function, const MessageHeader* header, const char16_t* name,
                            const char16_t* sender, const char16_t* payload, uint32_t timeout) {
        const auto state = stateOf(handle);
        if (!state)
            return MODULE_STATUS_INVALID_HANDLE;
        Sent request{name, sender, payload, *header, timeout, alternate, index, context, function};
        std::pair<Answerer, Answering> found;
        const uint32_t status = state->call(alternate ? "requestAlternate" : "request", [&] {
            const auto place = state->answerers.find(request.name);
            if (place == state->answerers.end())
                return MODULE_STATUS_NO_SUBSCRIBERS;
            found = place->second;
            state->requests.push_back(request);
            state->sent.notify_all();
            return MODULE_STATUS_SUCCESS;
        });
        if (status != MODULE_STATUS_SUCCESS)
            return status;
        auto answering = [answerer = std::move(found.first), request = std::move(request)] {
            if (const auto answer = answerer(request))
                reply(request, *answer);
        };
        if (found.second == Answering::insideRequest) {
            answering();
        } else {
            std::lock_guard lock(state->mutex);
            state->answers.emplace_back(std::move(answering));
        }
        return MODULE_STATUS_SUCCESS;
    }

    static uint32_t add(BrevantBusHandle handle, const char* entry, void* context,
                        BrevantMessageFunction function, const char16_t* text,
                        std::shared_ptr<Ferrow::NamePattern> pattern) {
        const auto state = stateOf(handle);
        if (!state)
            return 0;
        // A failure has no id, whatever its status.
        bool added = false;
        const uint32_t id = state->call(entry, [&] {
            added = true;
            state->subscriptions.push_back({++state->lastId, context, function, text, std::move(pattern)});
            return state->lastId;
        });
        return added ? id : 0;
    }

    static uint32_t subscribe(BrevantBusHandle handle, void* context, BrevantMessageFunction function,
                              const char16_t* name) {
        return add(handle, "subscribe", context, function, name, nullptr);
    }

    static uint32_t subscribePattern(BrevantBusHandle handle, void* context, BrevantMessageFunction function,
                                     const char16_t* pattern) {
        try {
            return add(handle, "subscribePattern", context, function, pattern,
                       std::make_shared<Ferrow::NamePattern>(pattern));
        } catch (const std::regex_error&) {
            return 0;
        }
    }

    static uint32_t unsubscribe(BrevantBusHandle handle, uint32_t id) {
        const auto state = stateOf(handle);
        if (!state)
            return MODULE_STATUS_INVALID_HANDLE;
        return state->call("unsubscribe", [&] {
            return std::erase_if(state->subscriptions, [id](const auto& one) { return one.id == id; }) != 0
                       ? MODULE_STATUS_SUCCESS
                       : MODULE_STATUS_NOT_FOUND;
        });
    }

    static uint32_t releaseReplyFunction(BrevantBusHandle handle, BrevantReplyFunction) {
        const auto state = stateOf(handle);
        return state ? state->call("releaseReplyFunction", [] { return MODULE_STATUS_SUCCESS; })
                     : MODULE_STATUS_INVALID_HANDLE;
    }

    static constexpr BrevantBusFunctions functions{
        acquireHandle,    releaseHandle, publish<false>,       request<false>, subscribe,
        subscribePattern, unsubscribe,   releaseReplyFunction, publish<true>,  request<true>,
    };
};

FakeBus::FakeBus() : state_(std::make_shared<State>()), handle_(Table::newHandle(state_)) {
    std::lock_guard lock(Table::mutex);
    Table::latest = state_;
}

FakeBus::~FakeBus() {
    for (;;) {
        std::vector<std::thread> answers;
        {
            std::lock_guard lock(state_->mutex);
            answers.swap(state_->answers);
        }
        if (answers.empty())
            return;
        for (std::thread& answer : answers)
            answer.join();
    }
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
    std::vector<State::Subscription> subscriptions;
    {
        std::lock_guard lock(state_->mutex);
        subscriptions = state_->subscriptions;
    }
    const MessageHeader plain = headerOf(0);
    uint32_t status = MODULE_STATUS_SUCCESS;
    for (const State::Subscription& one : subscriptions) {
        if (one.pattern ? one.pattern->matches(name) : one.text == name)
            status = one.function(one.context, header ? header : &plain, name.c_str(), sender.c_str(),
                                  payload.c_str());
    }
    return status;
}

void FakeBus::answer(const std::u16string& name, Answerer answerer, Answering answering) {
    std::lock_guard lock(state_->mutex);
    state_->answerers[name] = {std::move(answerer), answering};
}

uint32_t FakeBus::reply(const Sent& request, const Answer& answer) {
    const MessageHeader header = headerOf(BREVANT_MESSAGE_REPLY);
    if (answer.status != MODULE_STATUS_SUCCESS)
        return request.replyFunction(request.replyContext, request.replyIndex, nullptr, nullptr, nullptr,
                                     nullptr, answer.status);
    return request.replyFunction(request.replyContext, request.replyIndex, &header, answer.name.c_str(),
                                 u"FakeBus", answer.payload.c_str(), MODULE_STATUS_SUCCESS);
}

std::vector<FakeBus::Sent> FakeBus::published() const {
    std::lock_guard lock(state_->mutex);
    return state_->published;
}

std::vector<FakeBus::Sent> FakeBus::requests() const {
    std::lock_guard lock(state_->mutex);
    return state_->requests;
}

bool FakeBus::waitForPublished(const std::u16string& name, std::chrono::milliseconds timeout) const {
    std::unique_lock lock(state_->mutex);
    return state_->sent.wait_for(lock, timeout, [&] {
        for (const Sent& message : state_->published) {
            if (message.name == name)
                return true;
        }
        return false;
    });
}

size_t FakeBus::subscriptionCount() const {
    std::lock_guard lock(state_->mutex);
    return state_->subscriptions.size();
}

size_t FakeBus::handleCount() const {
    std::lock_guard lock(state_->mutex);
    return state_->handles;
}

void FakeBus::failNext(const std::string& entry, uint32_t status) {
    std::lock_guard lock(state_->mutex);
    state_->entries[entry].failures.push_back(status);
}

void FakeBus::whenCalled(const std::string& entry, std::function<void()> action) {
    std::lock_guard lock(state_->mutex);
    state_->entries[entry].action = std::move(action);
}

size_t FakeBus::callCount(const std::string& entry) const {
    std::lock_guard lock(state_->mutex);
    const auto found = state_->entries.find(entry);
    return found == state_->entries.end() ? 0 : found->second.calls;
}

}  // namespace Support
