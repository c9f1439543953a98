#include "host/bus/nats/NatsLink.h"

#include <algorithm>
#include <charconv>

#include "host/bus/nats/Subject.h"
#include "text/Utf.h"

namespace MessageBus {

namespace {

using Platform::Clock;

constexpr std::string_view messages = "mb.";
constexpr std::string_view requests = "mq.";
constexpr std::string_view addressed = "mp.";
constexpr std::string_view observed = "mo.";
constexpr std::string_view controls = "mc.";
// What the others tell of themselves when asked.
constexpr std::string_view introductions = "table";
// What comes back when an observer is gone, with its process behind it.
constexpr std::string_view observers = "observer.";

// So long after the connection is open the others have told what they have announced.
constexpr std::chrono::milliseconds tableTime{250};
constexpr size_t mostHeardProcesses = 4096;

// What is told under which subject, for the server's permissions are given for subjects.
bool belongs(WireKind kind, std::string_view subject) noexcept {
    switch (kind) {
        case WireKind::join:
            return subject == "mc.join";
        case WireKind::addPattern:
        case WireKind::removePattern:
            return subject == "mc.pattern";
        case WireKind::leave:
            return subject == "mc.leave";
        case WireKind::addObserver:
        case WireKind::removeObserver:
            return subject == "mc.observer";
        case WireKind::list:
            return subject == "mc.list";
        case WireKind::census:
            return subject == "mc.census";
        default:
            return false;
    }
}

}  // namespace

NatsLink::NatsLink(const ServerAddress& address, Receiver& receiver, RequestTable& table)
    : receiver_(receiver), requests_(table), client_(address, *this) {
    client_.subscribe(client_.inbox() + ">");
    client_.subscribe(std::string(controls) + ">");
    client_.start();
}

void NatsLink::subscribe(const Subscription& subscription) {
    Platform::MutexLock lock(mutex_);
    if (!subscription.pattern) {
        const std::string subject = subjectOf(subscription.text);
        addReference(std::string(messages) + subject);
        addReference(std::string(requests) + subject);
        return;
    }
    const PatternSubject pattern = patternSubject(subscription.text);
    addReference(std::string(messages) + pattern.subject());
    if (pattern.isWhole) {
        addReference(std::string(requests) + pattern.subject());
        return;
    }
    // Only who announces patterns is addressed: others need not be allowed to be.
    if (!isAddressed_) {
        client_.subscribe(addressOf(process(), ">"));
        isAddressed_ = true;
    }
    if (++announced_[subscription.text] != 1)
        return;
    peers_.add(process(), subscription.text, false);
    WireMessage message = own(WireKind::addPattern);
    message.name = bytesOf(subscription.text);
    announce("mc.pattern", {}, message);
}

void NatsLink::unsubscribe(const Subscription& subscription) {
    Platform::MutexLock lock(mutex_);
    if (!subscription.pattern) {
        const std::string subject = subjectOf(subscription.text);
        dropReference(std::string(messages) + subject);
        dropReference(std::string(requests) + subject);
        return;
    }
    const PatternSubject pattern = patternSubject(subscription.text);
    dropReference(std::string(messages) + pattern.subject());
    if (pattern.isWhole) {
        dropReference(std::string(requests) + pattern.subject());
        return;
    }
    const auto announced = announced_.find(subscription.text);
    if (announced == announced_.end() || --announced->second != 0)
        return;
    announced_.erase(announced);
    peers_.remove(process(), subscription.text, false);
    WireMessage message = own(WireKind::removePattern);
    message.name = bytesOf(subscription.text);
    announce("mc.pattern", {}, message);
}

std::string NatsLink::inboxOf(uint64_t cookie, size_t copy) const {
    return client_.inbox() + std::to_string(cookie) + "." + std::to_string(copy);
}

std::string NatsLink::addressOf(const ProcessId& process, const std::string& subject) {
    return std::string(addressed) + hexadecimal(process) + "." + subject;
}

std::string NatsLink::observerAddress(const ProcessId& observer, const std::string& subject) {
    return std::string(observed) + hexadecimal(observer) + "." + subject;
}

void NatsLink::refuse(const std::string& inbox, uint32_t status) {
    std::vector<Frame> frames;
    frames.emplace_back(inbox, std::string_view(), own(WireKind::refusal, status));
    client_.publish(std::move(frames));
}

void NatsLink::addCopies(std::u16string_view name, const std::string& subject, const WireMessage& request,
                         std::vector<Frame>& frames) {
    if (!peers_.hasObservers())
        return;
    WireMessage copy = request;
    copy.flags |= wireCopy;
    for (const ProcessId& observer : peers_.matching(name, true))
        frames.emplace_back(observerAddress(observer, subject), observerInbox(observer), copy).isKept = false;
}

void NatsLink::tellObservers(RemoteRequest& request, const WireMessage& outcome) {
    if (!peers_.hasObservers())
        return;
    WireMessage copy = outcome;
    copy.flags |= wireCopy;
    copy.process = process();
    copy.handle = request.firstSequence();
    const std::string subject = subjectOf(request.name);
    for (const ProcessId& observer : peers_.matching(request.name, true))
        tell(observerAddress(observer, subject), observerInbox(observer), copy);
}

std::string NatsLink::observerInbox(const ProcessId& observer) const {
    return client_.inbox() + std::string(observers) + hexadecimal(observer);
}

void NatsLink::beginStop() {
    try {
        tell("mc.leave", {}, own(WireKind::leave));
    } catch (const std::bad_alloc&) {
        // The others find out when they next address it.
    }
    client_.beginStop();
}

void NatsLink::settling() {
    settled_ = Platform::deadlineAfter(Clock::steady().now(), tableTime);
    peers_.join(process());
    describeSelf("mc.join", "mc.pattern");
    announce("mc.list", client_.inbox() + std::string(introductions), own(WireKind::list));
}

bool NatsLink::mayOpen() noexcept {
    try {
        for (const ProcessId& other : peers_.processes())
            missed_.erase(other);
    } catch (const std::bad_alloc&) {
        return true;
    }
    return missed_.empty();
}

void NatsLink::lost() noexcept {
    settled_ = Time::max();
    try {
        for (const ProcessId& other : others())
            missed_.insert(other);
        peers_.forgetOthers(process());
    } catch (const std::bad_alloc&) {
        // What they had announced is found out of date when it is used.
    }
}

void NatsLink::message(const ServerMessage& message) {
    try {
        dispatch(message);
    } catch (...) {
        report(u"memory or a thread is not to be had; a message is lost.");
    }
}

NatsLink::Time NatsLink::tick(Time now) {
    while (!censuses_.empty() && censuses_.begin()->first <= now) {
        const std::shared_ptr<RemoteRequest> request = censuses_.begin()->second.lock();
        censuses_.erase(censuses_.begin());
        if (request)
            follow(request, request->reviewed(others()));
    }
    return censuses_.empty() ? Time::max() : censuses_.begin()->first;
}

void NatsLink::dispatch(const ServerMessage& message) {
    std::string_view subject = message.subject;
    const auto take = [&subject](std::string_view beginning) {
        if (!subject.starts_with(beginning))
            return false;
        subject.remove_prefix(beginning.size());
        return true;
    };
    if (take(messages))
        receive(subject, WireKind::message, message);
    else if (take(client_.inbox()))
        answered(subject, message);
    else if (take(requests) || take(addressOf(process(), {})))
        receive(subject, WireKind::request, message);
    else if (take(controls))
        control(message);
}

void NatsLink::receive(std::string_view subject, WireKind kind, const ServerMessage& message) {
    const auto wire = WireMessage::decode(message.payload);
    if (!wire || wire->kind != kind || (kind == WireKind::request && message.reply.empty()) ||
        (wire->flags & wireCopy) != 0) {
        noteGarbage(message.subject);
        return;
    }
    Arrival arrival{*wire, unitsOf(wire->name), std::string(message.reply)};
    if (subjectOf(arrival.name) != subject) {
        noteGarbage(message.subject);
        return;
    }
    if (!isRepeat(*wire))
        receiver_.arrived(*this, arrival);
}

void NatsLink::answered(std::string_view token, const ServerMessage& message) {
    if (token == introductions) {
        if (message.status == 0)
            control(message);
        return;
    }
    if (token.starts_with(observers)) {
        const auto observer = processFrom(token.substr(observers.size()));
        if (message.status == 503 && observer)
            peers_.leave(*observer);
        return;
    }
    uint64_t cookie = 0;
    size_t copy = 0;
    const char* const end = token.data() + token.size();
    const auto [dot, error] = std::from_chars(token.data(), end, cookie);
    if (error != std::errc() || dot == end || std::from_chars(dot + 1, end, copy).ptr != end)
        return;
    const auto request = std::static_pointer_cast<RemoteRequest>(requests_.find(cookie));
    if (!request)
        return;
    if (message.status == 503) {
        // A process that had announced a pattern and is gone.
        if (const ProcessId gone = request->nobodyThere(copy); gone != ProcessId{})
            peers_.leave(gone);
        return;
    }
    const auto wire = WireMessage::decode(message.payload);
    if (!wire) {
        noteGarbage(message.subject);
    } else if (wire->kind == WireKind::reply) {
        receiver_.replied(*request, *wire);
        tellObservers(*request, *wire);
    } else if (wire->kind == WireKind::refusal) {
        follow(request, request->refused(wire->process, wire->value | 0x80000000u, others()));
    } else if (wire->kind == WireKind::counted) {
        follow(request, request->counted(wire->process, CensusState{wire->value}, others()));
    }
}

void NatsLink::control(const ServerMessage& message) {
    const auto wire = WireMessage::decode(message.payload);
    if (!wire) {
        noteGarbage(message.subject);
        return;
    }
    if (wire->process == process())
        return;
    if (!belongs(wire->kind, message.subject) && !message.subject.starts_with(client_.inbox())) {
        noteGarbage(message.subject);
        return;
    }
    const std::string reply(message.reply);
    switch (wire->kind) {
        case WireKind::join:
            peers_.join(wire->process);
            break;
        case WireKind::leave:
            // What it has sent is still known: it may come again when the server is killed now.
            peers_.leave(wire->process);
            missed_.erase(wire->process);
            break;
        case WireKind::addPattern:
        case WireKind::addObserver:
            peers_.add(wire->process, unitsOf(wire->name), wire->kind == WireKind::addObserver);
            break;
        case WireKind::removePattern:
        case WireKind::removeObserver:
            peers_.remove(wire->process, unitsOf(wire->name), wire->kind == WireKind::removeObserver);
            break;
        case WireKind::list:
            if (!reply.empty())
                describeSelf(reply, reply);
            break;
        case WireKind::census:
            if (!reply.empty())
                tell(reply, {}, [&] {
                    const CensusState state = incoming_.stateOf(wire->process, wire->handle);
                    return own(WireKind::counted, static_cast<uint32_t>(state));
                }());
            break;
        default:
            noteGarbage(message.subject);
            break;
    }
}

void NatsLink::describeSelf(const std::string& presence, const std::string& announcements) {
    announce(presence, {}, own(WireKind::join));
    std::vector<std::u16string> patterns;
    {
        Platform::MutexLock lock(mutex_);
        for (const auto& [pattern, count] : announced_)
            patterns.push_back(pattern);
    }
    for (const std::u16string& pattern : patterns) {
        WireMessage message = own(WireKind::addPattern);
        message.name = bytesOf(pattern);
        announce(announcements, {}, message);
    }
}

void NatsLink::follow(const std::shared_ptr<RemoteRequest>& request, const RemoteRequest::Census& census) {
    if (incoming_.stateOf(process(), census.sequence) != CensusState::unknown)
        return;
    if (census.failed) {
        requests_.fail(*request, request->failure());
        tellObservers(*request, request->failure());
        return;
    }
    if (!census.mustAsk)
        return;
    WireMessage message = own(WireKind::census);
    message.handle = census.sequence;
    tell("mc.census", inboxOf(request->cookie, 0), message);
    censuses_.emplace(census.deadline, request);
}

std::vector<ProcessId> NatsLink::others() {
    std::vector<ProcessId> all = peers_.processes();
    std::erase(all, process());
    return all;
}

bool NatsLink::isRepeat(const WireMessage& message) {
    if (message.sequence == 0 || message.process == ProcessId{})
        return false;
    if (heard_.size() >= mostHeardProcesses && !heard_.contains(message.process))
        heard_.erase(std::ranges::min_element(heard_, {}, [](const auto& each) { return each.second.turn; }));
    LastHeard& last = heard_[message.process];
    last.turn = ++turn_;
    if (message.sequence <= last.sequence)
        return true;
    last.sequence = message.sequence;
    return false;
}

void NatsLink::noteGarbage(std::string_view subject) {
    if (std::exchange(garbageReported_, true))
        return;
    std::u16string shown(Ferrow::toUtf16(subject.substr(0, 200)));
    std::replace_if(
        shown.begin(), shown.end(), [](char16_t unit) { return unit < u' ' || unit > u'~'; }, u'?');
    report(u"what came under \"" + shown +
           u"\" is no message of the bus; it and what else is none is dropped.");
}

WireMessage NatsLink::own(WireKind kind, uint32_t value) const {
    WireMessage message;
    message.kind = kind;
    message.process = process();
    message.value = value;
    return message;
}

void NatsLink::announce(const std::string& subject, const std::string& reply, const WireMessage& message) {
    client_.announce(Frame(subject, reply, message));
}

void NatsLink::tell(const std::string& subject, const std::string& reply, const WireMessage& message) {
    // Told anew when the connection has been lost.
    if (client_.state() != NatsClient::State::open)
        return;
    std::vector<Frame> frames;
    frames.emplace_back(subject, reply, message).isKept = false;
    client_.publish(std::move(frames));
}

void NatsLink::addReference(const std::string& subject) {
    ServerSubscription& subscription = subjects_[subject];
    if (subscription.count == 0) {
        try {
            subscription.id = client_.subscribe(subject);
        } catch (...) {
            subjects_.erase(subject);
            throw;
        }
    }
    ++subscription.count;
}

void NatsLink::dropReference(const std::string& subject) {
    const auto found = subjects_.find(subject);
    if (found == subjects_.end() || --found->second.count != 0)
        return;
    client_.unsubscribe(found->second.id);
    subjects_.erase(found);
}

}  // namespace MessageBus
