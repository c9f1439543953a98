#include "host/program/connection/BusConnection.h"

#include <algorithm>
#include <map>
#include <unordered_map>

#include "host/program/connection/HandlerGate.h"
#include "platform/Clock.h"
#include "platform/ProcessWide.h"
#include "text/PatternSyntax.h"

namespace Host {
namespace {

// Longer than any bus takes to report its own timeout.
constexpr auto replyGrace = std::chrono::seconds(2);

struct Pending {
    BusConnection::Answered answered;  // none: somebody waits
    Platform::ConditionVariable ended;
    bool done = false;
    BusAnswer answer;
};

// Stands inside a gate that let it in.
struct Inside {
    HandlerGate& gate;
    ~Inside() { gate.leave(); }
};

// What a context stands for. The bus gets numbers, never addresses: it may call a moment after all is gone.
struct Target {
    BusConnection::Handler handler;
    std::shared_ptr<HandlerGate> gate;
    std::shared_ptr<void> requests;
};

class Targets {
public:
    uint64_t add(std::shared_ptr<const Target> target) {
        Platform::MutexLock lock(mutex_);
        targets_[++last_] = std::move(target);
        return last_;
    }
    void remove(uint64_t context) {
        std::shared_ptr<const Target> gone;  // destroyed outside the lock: its handler may own anything
        Platform::MutexLock lock(mutex_);
        if (auto found = targets_.find(context); found != targets_.end()) {
            gone.swap(found->second);
            targets_.erase(found);
        }
    }
    std::shared_ptr<const Target> find(void* context) {
        Platform::MutexLock lock(mutex_);
        const auto found = targets_.find(reinterpret_cast<uintptr_t>(context));
        return found == targets_.end() ? nullptr : found->second;
    }

private:
    // Guards both members below. Nothing else is taken under it.
    Platform::Mutex mutex_;
    uint64_t last_ GUARDED_BY(mutex_) = 0;
    std::unordered_map<uint64_t, std::shared_ptr<const Target>> targets_ GUARDED_BY(mutex_);
};

constinit Platform::ProcessWide<Targets> targets;

void* contextOf(uint64_t number) {
    return reinterpret_cast<void*>(static_cast<uintptr_t>(number));  // NOLINT(performance-no-int-to-ptr)
}

std::u16string textOf(const char16_t* text) {
    return text ? std::u16string(text) : std::u16string();
}

ReceivedMessage messageOf(const MessageHeader* header, const char16_t* name, const char16_t* sender,
                          const char16_t* payload) {
    ReceivedMessage message{{}, textOf(name), textOf(sender), textOf(payload)};
    if (header)
        message.header = brevantReadHeader(header);
    return message;
}

uint32_t onMessage(void* context, const MessageHeader* header, const char16_t* name, const char16_t* sender,
                   const char16_t* payload) noexcept {
    try {
        const auto target = targets.get().find(context);
        if (!target || !target->gate->enter())
            return MODULE_STATUS_SUCCESS;
        const Inside inside{*target->gate};
        return target->handler(messageOf(header, name, sender, payload));
    } catch (...) {
        return MODULE_STATUS_UNKNOWN_EXCEPTION;
    }
}

}  // namespace

struct BusConnection::Shared {
    const std::shared_ptr<HandlerGate> gate = std::make_shared<HandlerGate>();
    uint64_t context = 0;  // of the replies

    // Guards the members below. Nothing else is taken under it.
    Platform::Mutex mutex;
    bool closed GUARDED_BY(mutex) = false;
    uint64_t lastIndex GUARDED_BY(mutex) = 0;
    std::map<uint64_t, std::shared_ptr<Pending>> pending GUARDED_BY(mutex);

    void settle(uint64_t index, BusAnswer answer) {
        std::shared_ptr<Pending> ended;
        {
            Platform::MutexLock lock(mutex);
            const auto found = pending.find(index);
            if (found == pending.end())
                return;
            ended = std::move(found->second);
            pending.erase(found);
            if (!ended->answered) {
                ended->answer = std::move(answer);
                ended->done = true;
                ended->ended.notifyAll();
                return;
            }
        }
        if (!gate->enter())
            return;
        const Inside inside{*gate};
        ended->answered(std::move(answer));
    }
    // 0 once closed.
    uint64_t expect(const std::shared_ptr<Pending>& answer) {
        Platform::MutexLock lock(mutex);
        if (closed)
            return 0;
        pending[++lastIndex] = answer;
        return lastIndex;
    }

    static uint32_t onReply(void* context, uint64_t index, const MessageHeader* header, const char16_t* name,
                            const char16_t* sender, const char16_t* payload, uint32_t status) noexcept {
        try {
            const auto target = targets.get().find(context);
            if (!target)
                return MODULE_STATUS_NOT_FOUND;
            BusAnswer answer{status, {}};
            if (status == MODULE_STATUS_SUCCESS)
                answer.message = messageOf(header, name, sender, payload);
            static_cast<Shared*>(target->requests.get())->settle(index, std::move(answer));
            return MODULE_STATUS_SUCCESS;
        } catch (...) {
            return MODULE_STATUS_UNKNOWN_EXCEPTION;
        }
    }
};

BusConnection::BusConnection(const BrevantBusFunctions& functions, std::u16string sender)
    : functions_(functions),
      sender_(std::move(sender)),
      handle_(std::make_unique<BusHandle>(functions)),
      shared_(std::make_shared<Shared>()) {
    shared_->context = targets.get().add(std::make_shared<Target>(Target{{}, shared_->gate, shared_}));
    contexts_.push_back(shared_->context);
}

bool BusConnection::subscribe(const std::u16string& name, Handler handler) {
    return add(functions_.subscribe, name, std::move(handler));
}

bool BusConnection::subscribePattern(const std::u16string& pattern, Handler handler) {
    return add(functions_.subscribePattern, pattern, std::move(handler));
}

bool BusConnection::add(Subscribe entry, const std::u16string& text, Handler handler) {
    const uint64_t context =
        targets.get().add(std::make_shared<Target>(Target{std::move(handler), shared_->gate, nullptr}));
    contexts_.push_back(context);
    const uint32_t id = entry(handle_->get(), contextOf(context), &onMessage, text.c_str());
    if (id == 0)
        return false;
    subscriptions_.push_back(id);
    return true;
}

MessageHeader BusConnection::headerFor(const std::u16string& name, const std::u16string& payload) const {
    MessageHeader header = brevantDefaultHeader();
    const size_t units = name.size() + sender_.size() + payload.size() + 3;
    header.totalSize = static_cast<uint32_t>(sizeof header + units * sizeof(char16_t));
    return header;
}

uint32_t BusConnection::send(MessageHeader& header, const std::u16string& name,
                             const std::u16string& payload) {
    return functions_.publish(handle_->get(), &header, name.c_str(), sender_.c_str(), payload.c_str());
}

uint32_t BusConnection::publish(const std::u16string& name, const std::u16string& payload) {
    MessageHeader header = headerFor(name, payload);
    return send(header, name, payload);
}

uint32_t BusConnection::reply(const ReceivedMessage& request, const std::u16string& name,
                              const std::u16string& payload, Audience audience) {
    if ((request.header.flags & BREVANT_MESSAGE_REPLY_REQUESTED) == 0)
        return publish(name, payload);
    MessageHeader header = headerFor(name, payload);
    header.flags = static_cast<uint32_t>(audience == Audience::everybody ? BREVANT_MESSAGE_BROADCAST_COPY_MADE
                                                                         : BREVANT_MESSAGE_NO_BROADCAST_COPY);
    brevantCorrelateReply(&header, &request.header);
    const uint32_t status = send(header, name, payload);
    if (audience == Audience::everybody) {
        header.flags = BREVANT_MESSAGE_BROADCAST_COPY_MADE;
        header.replyCookie = 0;
        send(header, name, payload);
    }
    return status;
}

uint32_t BusConnection::sendRequest(uint64_t index, const std::u16string& name, const std::u16string& payload,
                                    std::chrono::milliseconds timeout) {
    const MessageHeader header = headerFor(name, payload);
    return functions_.request(handle_->get(), index, contextOf(shared_->context), &Shared::onReply, &header,
                              name.c_str(), sender_.c_str(), payload.c_str(),
                              static_cast<uint32_t>(timeout.count()));
}

std::vector<BusAnswer> BusConnection::requestAll(const std::vector<std::u16string>& names,
                                                 std::chrono::milliseconds timeout,
                                                 const std::u16string& payload) {
    const Platform::Clock& clock = Platform::Clock::steady();
    std::vector<std::pair<uint64_t, std::shared_ptr<Pending>>> asked;
    for (const std::u16string& name : names) {
        const auto pending = std::make_shared<Pending>();
        const uint64_t index = shared_->expect(pending);
        asked.emplace_back(index, pending);
        if (index == 0)
            continue;
        if (const uint32_t sent = sendRequest(index, name, payload, timeout); sent != MODULE_STATUS_SUCCESS)
            shared_->settle(index, {sent, {}});
    }
    const auto deadline = Platform::deadlineAfter(clock.now(), timeout + replyGrace);
    std::vector<BusAnswer> answers;
    Platform::MutexLock lock(shared_->mutex);
    for (auto& [index, pending] : asked) {
        while (index != 0 && !pending->done && clock.waitUntil(pending->ended, lock, deadline)) {
        }
        if (index != 0 && !pending->done) {
            shared_->pending.erase(index);
            pending->answer.status = MODULE_STATUS_TIMEOUT;
        }
        answers.push_back(std::move(pending->answer));
    }
    return answers;
}

BusAnswer BusConnection::request(const std::u16string& name, const std::u16string& payload,
                                 std::chrono::milliseconds timeout) {
    return std::move(requestAll({name}, timeout, payload).front());
}

void BusConnection::requestLater(const std::u16string& name, const std::u16string& payload,
                                 std::chrono::milliseconds timeout, Answered answered) {
    const auto pending = std::make_shared<Pending>();
    pending->answered = std::move(answered);
    const uint64_t index = shared_->expect(pending);
    if (index == 0)
        return;
    if (const uint32_t sent = sendRequest(index, name, payload, timeout); sent != MODULE_STATUS_SUCCESS)
        shared_->settle(index, {sent, {}});
}

void BusConnection::close() {
    if (!handle_)
        return;
    for (const uint32_t id : subscriptions_)
        functions_.unsubscribe(handle_->get(), id);
    functions_.releaseReplyFunction(handle_->get(), &Shared::onReply);
    {
        // A handler that waits for a reply must get on, or the gate would never be empty.
        Platform::MutexLock lock(shared_->mutex);
        shared_->closed = true;
        for (auto& [index, pending] : shared_->pending) {
            pending->done = true;
            pending->ended.notifyAll();
        }
        shared_->pending.clear();
    }
    shared_->gate->close();
    for (const uint64_t context : contexts_)
        targets.get().remove(context);
    handle_.reset();
}

std::u16string literalPattern(const std::u16string& name) {
    std::u16string pattern;
    for (const char16_t unit : name) {
        if (Ferrow::PatternSyntax::isSpecial(unit))
            pattern += u'\\';
        pattern += unit;
    }
    return pattern;
}

}  // namespace Host
