#include "host/bus/nats/NatsClient.h"

#include <algorithm>
#include <cstring>
#include <random>

#include <brevant/status.h>

#include "host/bus/nats/Subject.h"
#include "json/JSONFormatter.h"
#include "platform/DebuggerOutput.h"
#include "text/Utf.h"

namespace MessageBus {

namespace {

using namespace std::chrono_literals;
using Platform::Clock;

constexpr size_t receiveBytes = size_t{64} << 10;
// A flusher takes frames until it has so much.
constexpr size_t batchBytes = size_t{128} << 10;
constexpr size_t mostReportedSubjects = 64;
constexpr auto settleCheckTime = 20ms;
constexpr std::string_view lineEnd = "\r\n";
constexpr std::string_view ping = "PING\r\n";

Clock::Time steadyNow() {
    return Clock::steady().now();
}

ProcessId randomProcess() {
    std::random_device random;
    ProcessId process;
    for (unsigned char& byte : process)
        byte = static_cast<unsigned char>(random());
    return process;
}

std::string inboxOf(const Credentials& credentials, const ProcessId& process) {
    const std::string user =
        credentials.user.empty() ? "" : "_" + subjectOf(Ferrow::toUtf16(credentials.user));
    return "_INBOX" + user + "." + hexadecimal(process) + ".";
}

// Texts of the server may end up on a terminal.
std::u16string printable(std::string_view text) {
    constexpr size_t mostUnits = 200;
    std::u16string shown(Ferrow::toUtf16(text.substr(0, mostUnits)));
    std::replace_if(
        shown.begin(), shown.end(), [](char16_t unit) { return unit < u' ' || unit > u'~'; }, u'?');
    return shown;
}

}  // namespace

void report(std::u16string_view text) noexcept {
    try {
        Platform::writeToDebugger(u"MessageBus: " + std::u16string(text) + u"\n");
    } catch (...) {
    }
}

std::string hexadecimal(const ProcessId& process) {
    std::string text;
    for (const unsigned char byte : process) {
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789abcdef"[byte & 15];
    }
    return text;
}

std::optional<ProcessId> processFrom(std::string_view text) {
    ProcessId process{};
    if (text.size() != 2 * process.size())
        return std::nullopt;
    for (size_t i = 0; i < text.size(); ++i) {
        const size_t digit = std::string_view("0123456789abcdef").find(text[i]);
        if (digit == std::string_view::npos)
            return std::nullopt;
        process[i / 2] = static_cast<unsigned char>(process[i / 2] << 4 | digit);
    }
    return process;
}

Frame::Frame(std::string_view to, std::string_view reply, const WireMessage& message) : subject(to) {
    const size_t size = message.size();
    const std::string length = std::to_string(size);
    bytes.reserve(to.size() + reply.size() + length.size() + size + 16);
    bytes.append("PUB ").append(to).append(" ");
    if (!reply.empty())
        bytes.append(reply).append(" ");
    bytes.append(length).append(lineEnd);
    payloadAt = bytes.size();
    message.appendTo(bytes);
    bytes.append(lineEnd);
}

// One life of the connection.
struct NatsClient::Session {
    ServerParser parser{};
    bool handshaken = false;
    bool greeted = false;
    std::u16string why{};         // it must end
    bool refused = false;         // the server knows no such user
    Time openTime = Time::max();  // when it has settled, unless others are missed
    Time lastOpenTime = Time::max();
    Time heard;        // the last sign of life
    int askedFor = 0;  // signs of life since
};

class NatsClient::Incoming final : public ServerEvents {
public:
    Incoming(NatsClient& client, Session& session) noexcept : client_(client), session_(session) {}

    void info(std::string_view json) override {
        if (!client_.handshake(session_, json))
            session_.why = u"the server's greeting cannot be met";
    }
    void message(const ServerMessage& message) override { client_.events_.message(message); }
    void ping() override {
        Platform::MutexLock lock(client_.mutex_);
        client_.control_ += "PONG\r\n";
    }
    void pong() override {
        if (!session_.handshaken && session_.greeted) {
            session_.handshaken = true;
            const bool mustSettle = client_.everOpen_ || client_.hasFailed_;
            const Time now = steadyNow();
            session_.openTime = Platform::deadlineAfter(now, mustSettle ? settleTime : 0ms);
            session_.lastOpenTime = Platform::deadlineAfter(now, mustSettle ? longestSettleTime : 0ms);
            client_.events_.settling();
            return;
        }
        client_.onPong();
    }
    void error(std::string_view text) override { client_.onError(session_, text); }

private:
    NatsClient& client_;
    Session& session_;
};

NatsClient::NatsClient(ServerAddress address, Events& events)
    : address_(std::move(address)),
      events_(events),
      process_(randomProcess()),
      inbox_(inboxOf(address_.credentials, process_)) {}

void NatsClient::start() {
    thread_ = Platform::Thread([this] { run(); });
}

NatsClient::~NatsClient() {
    if (thread_.joinable()) {
        beginStop();
        join();
    }
}

bool NatsClient::waitUntilOpen(std::chrono::nanoseconds timeout) {
    const Time deadline = Platform::deadlineAfter(steadyNow(), timeout);
    Platform::MutexLock lock(mutex_);
    while (state() != State::open && !refused_ && !stopping_ && !gaveUpWaiting_)
        if (!Clock::steady().waitUntil(changed_, lock, deadline))
            break;
    // Nobody waits twice for a server that is not there.
    gaveUpWaiting_ = state() == State::away;
    return state() == State::open;
}

uint64_t NatsClient::publish(std::vector<Frame> frames) {
    uint64_t sequence = 0;
    {
        Platform::MutexLock lock(mutex_);
        sequence = ++lastSequence_;
        for (Frame& frame : frames) {
            std::memcpy(frame.bytes.data() + frame.payloadAt + wireSequenceOffset, &sequence,
                        sizeof sequence);
            wantsPing_ = wantsPing_ || frame.watcher;
            frames_.push_back(std::move(frame));
        }
    }
    flush();
    return sequence;
}

void NatsClient::announce(const Frame& frame) {
    Platform::MutexLock lock(mutex_);
    if (connected_)
        control_ += frame.bytes;
}

uint64_t NatsClient::subscribe(const std::string& subject) {
    Platform::MutexLock lock(mutex_);
    const uint64_t id = lastSubscription_ + 1;
    std::string line = connected_ ? "SUB " + subject + " " + std::to_string(id) + "\r\n" : std::string();
    subscriptions_.emplace(id, subject);
    control_ += line;
    return lastSubscription_ = id;
}

void NatsClient::unsubscribe(uint64_t id) noexcept {
    Platform::MutexLock lock(mutex_);
    if (subscriptions_.erase(id) == 0 || !connected_)
        return;
    try {
        control_ += "UNSUB " + std::to_string(id) + "\r\n";
    } catch (const std::bad_alloc&) {
        // It goes on until the next connection; what it brings finds no receiver.
    }
}

void NatsClient::flush() noexcept {
    Platform::MutexLock lock(mutex_);
    if (!connected_ || flushing_ || wantsWritable_)
        return;
    flushing_ = true;
    bool isBlocked = false;
    for (;;) {
        try {
            if (sent_ == sending_.size() && !refill())
                break;
        } catch (const std::bad_alloc&) {
            break;  // the next one tries again
        }
        const std::string_view rest = std::string_view(sending_).substr(sent_);
        lock.unlock();
        const Platform::Socket::Transfer transfer = socket_.send(rest);
        lock.lock();
        if (transfer.result != Platform::Socket::Result::done) {
            // A lost connection is found by who reads.
            isBlocked = true;
            break;
        }
        sent_ += transfer.count;
    }
    flushing_ = false;
    wantsWritable_ = isBlocked;
    lock.unlock();
    if (isBlocked)
        socket_.wake();
    changed_.notifyAll();
}

void NatsClient::waitForSubscriptions(std::chrono::nanoseconds timeout) noexcept {
    Platform::MutexLock lock(mutex_);
    const uint64_t last = lastSubscription_;
    if (knownSubscription_ >= last || state() != State::open || isSlow_)
        return;
    try {
        control_.reserve(control_.size() + ping.size());
        pings_.push_back(nextFrame_);
    } catch (const std::bad_alloc&) {
        return;
    }
    control_.append(ping);
    const uint64_t answer = pongs_ + pings_.size();
    lock.unlock();
    flush();
    const Time deadline = Platform::deadlineAfter(steadyNow(), timeout);
    lock.lock();
    while (pongs_ < answer)
        if (!Clock::steady().waitUntil(changed_, lock, deadline)) {
            isSlow_ = pongs_ < answer;
            return;
        }
    knownSubscription_ = std::max(knownSubscription_, last);
}

// False when there is nothing to be sent.
bool NatsClient::refill() {
    sending_.clear();
    sent_ = 0;
    if (sending_.capacity() > 4 * batchBytes)
        sending_.shrink_to_fit();
    sending_.append(control_);
    control_.clear();
    if (state_ != State::open)
        return !sending_.empty();
    const uint64_t end = firstFrame_ + frames_.size();
    bool any = false;
    for (; nextFrame_ < end && sending_.size() < batchBytes; ++nextFrame_) {
        Frame& frame = frames_[nextFrame_ - firstFrame_];
        const size_t most = mostPayload_;
        if (most == 0 || frame.bytes.size() - frame.payloadAt - lineEnd.size() <= most) {
            sending_.append(frame.bytes);
            any = true;
        } else {
            ++tooLarge_;
        }
    }
    // One is answered after the other; a further one only for who waits for it.
    const bool hasUnconfirmed = nextFrame_ > confirmedFrames_;
    if ((any && wantsPing_) || (hasUnconfirmed && pings_.empty())) {
        pings_.push_back(nextFrame_);
        sending_.append(ping);
        wantsPing_ = wantsPing_ && nextFrame_ < end;
    }
    return !sending_.empty();
}

void NatsClient::beginStop() {
    Platform::MutexLock lock(mutex_);
    stopping_ = true;
    stopTime_ = Platform::deadlineAfter(steadyNow(), lastFlushTime);
    lock.unlock();
    changed_.notifyAll();
    socket_.wake();
}

void NatsClient::join() {
    Platform::MutexLock lock(joining_);
    if (thread_.joinable())
        thread_.join();
}

bool NatsClient::ended() {
    Platform::MutexLock lock(mutex_);
    return ended_;
}

bool NatsClient::allConfirmed() {
    return frames_.empty() || frames_.back().isConfirmed;
}

bool NatsClient::stopsNow(Time now) {
    return stopping_ && (allConfirmed() || now >= stopTime_);
}

void NatsClient::run() {
    auto wait = 10ms;
    for (;;) {
        {
            Platform::MutexLock lock(mutex_);
            if (stopsNow(steadyNow()))
                break;
        }
        Session session;
        std::u16string why;
        if (socket_.connect(address_.host, address_.port, connectTimeout)) {
            try {
                why = serve(session);
            } catch (const std::bad_alloc&) {
                why = u"memory is short";
            }
            disconnect();
        } else {
            why = u"nobody answers there";
        }
        {
            Platform::MutexLock lock(mutex_);
            if (stopsNow(steadyNow()))
                break;
            refused_ = session.refused;
        }
        changed_.notifyAll();
        hasFailed_ = true;
        reportAway(why, session.refused);
        if (session.handshaken)
            wait = 10ms;
        pause(session.refused ? refusedRetryWait : wait);
        wait = std::min<std::chrono::milliseconds>(2 * wait, longestRetryWait);
    }
    Platform::MutexLock lock(mutex_);
    size_t lost = 0;
    for (const Frame& frame : frames_)
        lost += frame.isKept && !frame.isConfirmed ? 1 : 0;
    frames_.clear();
    ended_ = true;
    lock.unlock();
    if (lost != 0)
        report(Ferrow::decimal(lost) +
               u" messages are lost: the server did not take them before the last handle was released.");
}

std::u16string NatsClient::serve(Session& session) {
    std::vector<char> buffer(receiveBytes);
    Incoming incoming(*this, session);
    session.heard = steadyNow();
    for (;;) {
        const Time now = steadyNow();
        Time wake = events_.tick(now);
        {
            Platform::MutexLock lock(mutex_);
            if (stopsNow(now))
                return u"it is stopped";
            if (stopping_)
                wake = std::min(wake, stopTime_);
            if (control_.size() > mostControlBytes)
                return u"it takes nothing";
        }
        if (session.openTime <= now && now < session.lastOpenTime && !events_.mayOpen()) {
            session.openTime = Platform::deadlineAfter(now, settleCheckTime);
        } else if (session.openTime <= now) {
            session.openTime = Time::max();
            open();
        }
        const Time silent =
            silent_ ? Time::max()
                    : Platform::deadlineAfter(session.heard, (session.askedFor + 1) * silenceTime);
        if (silent <= now) {
            if (!session.handshaken)
                return u"it is silent";
            if (session.askedFor == 2) {
                silent_ = true;
                reportAway(u"it is silent", false);
                continue;
            }
            ++session.askedFor;
            Platform::MutexLock lock(mutex_);
            pings_.push_back(nextFrame_);
            control_ += ping;
        }
        flush();
        reportTooLarge();
        const Platform::Socket::Ready ready =
            socket_.wait(wantsWritable_, std::min({wake, session.openTime, silent}));
        if (ready.writable) {
            wantsWritable_ = false;
            flush();
        }
        if (!ready.readable)
            continue;
        const Platform::Socket::Transfer transfer = socket_.receive(buffer.data(), buffer.size());
        if (transfer.result == Platform::Socket::Result::closed)
            return session.why.empty() ? u"it has closed the connection" : session.why;
        if (transfer.result != Platform::Socket::Result::done)
            continue;
        session.heard = steadyNow();
        session.askedFor = 0;
        if (silent_.exchange(false)) {
            {
                Platform::MutexLock lock(mutex_);
                gaveUpWaiting_ = false;
            }
            reportBack();
        }
        if (!session.parser.feed({buffer.data(), transfer.count}, incoming))
            return u"what it sends is not the protocol's";
        if (!session.why.empty())
            return session.why;
    }
}

bool NatsClient::handshake(Session& session, std::string_view info) {
    Tavix::JSONFormatter greeting;
    if (!greeting.parse(Ferrow::toUtf16(info)))
        return false;
    bool needsTls = false;
    if (greeting.getBool(u"tls_required", needsTls) && needsTls) {
        session.why = u"it asks for TLS, which is for connections between servers";
        return true;
    }
    int64_t most = 0;
    if (greeting.getInt64(u"max_payload", most) && most > 0)
        mostPayload_ = static_cast<size_t>(most);
    // The server greets again when the cluster changes.
    if (std::exchange(session.greeted, true))
        return true;
    Tavix::JSONFormatter options;
    options.setBool(u"verbose", false);
    options.setBool(u"pedantic", false);
    options.setBool(u"echo", true);
    options.setBool(u"headers", true);
    options.setBool(u"no_responders", true);
    options.setString(u"lang", u"brevant");
    options.setString(u"version", u"1");
    options.setInt32(u"protocol", 1);
    if (!address_.credentials.user.empty()) {
        options.setString(u"user", Ferrow::toUtf16(address_.credentials.user));
        options.setString(u"pass", Ferrow::toUtf16(address_.credentials.password));
    }
    std::string lines = "CONNECT " + Ferrow::toUtf8(options.toString()) + "\r\n";
    {
        Platform::MutexLock lock(mutex_);
        for (const auto& [id, subject] : subscriptions_)
            lines += "SUB " + subject + " " + std::to_string(id) + "\r\n";
        lines += ping;
        control_ = std::move(lines);
        connected_ = true;
        state_ = State::settling;
    }
    changed_.notifyAll();
    flush();
    return true;
}

void NatsClient::open() {
    {
        // A request that has its answer, or whose requester has been told that its time is over, would only
        // surprise its receivers.
        const Time now = steadyNow();
        Platform::MutexLock lock(mutex_);
        std::erase_if(frames_, [now](const Frame& frame) {
            return frame.expires <= now || (frame.request && frame.request->expired());
        });
        state_ = State::open;
        refused_ = gaveUpWaiting_ = false;
    }
    everOpen_ = true;
    hasFailed_ = false;
    changed_.notifyAll();
    reportBack();
    events_.opened();
}

void NatsClient::disconnect() noexcept {
    {
        Platform::MutexLock lock(mutex_);
        connected_ = false;
        state_ = State::away;
        silent_ = false;
        while (flushing_)
            changed_.wait(lock);
        wantsWritable_ = false;
        sending_.clear();
        control_.clear();
        sent_ = 0;
        pongs_ += pings_.size();
        pings_.clear();
        isSlow_ = false;
        wantsPing_ = true;
        std::erase_if(frames_, [](const Frame& frame) { return !frame.isKept; });
        // Confirmed anew: the next server may be killed as well.
        nextFrame_ = confirmedFrames_ = firstFrame_;
        retainedBytes_ = 0;
    }
    socket_.close();
    changed_.notifyAll();
    events_.lost();
}

void NatsClient::pause(std::chrono::nanoseconds duration) {
    const Time until = Platform::deadlineAfter(steadyNow(), duration);
    Platform::MutexLock lock(mutex_);
    while (!stopsNow(steadyNow()) && Clock::steady().waitUntil(changed_, lock, std::min(until, stopTime_)) &&
           steadyNow() < until)
        ;
}

void NatsClient::onPong() {
    std::vector<std::shared_ptr<FrameWatcher>> watchers;
    std::vector<Frame> dropped;
    std::vector<std::optional<MessageCharge>> charges;
    {
        Platform::MutexLock lock(mutex_);
        if (pings_.empty())
            return;
        const uint64_t before = pings_.front();
        pings_.pop_front();
        ++pongs_;
        isSlow_ = false;
        const Time now = steadyNow();
        for (; confirmedFrames_ < before; ++confirmedFrames_) {
            Frame& frame = frames_[confirmedFrames_ - firstFrame_];
            frame.isConfirmed = true;
            frame.confirmedAt = now;
            retainedBytes_ += frame.bytes.size();
            charges.push_back(std::move(frame.charge));
            frame.charge.reset();
            if (frame.watcher)
                watchers.push_back(std::move(frame.watcher));
        }
        for (; firstFrame_ < confirmedFrames_ &&
               (retainedBytes_ > mostRetainedBytes || now - frames_.front().confirmedAt > retainTime);
             ++firstFrame_) {
            retainedBytes_ -= frames_.front().bytes.size();
            dropped.push_back(std::move(frames_.front()));
            frames_.pop_front();
        }
    }
    changed_.notifyAll();
    for (const auto& watcher : watchers)
        watcher->confirmed();
}

void NatsClient::onError(Session& session, std::string_view text) {
    constexpr std::string_view publishing = "Permissions Violation for Publish to \"";
    constexpr std::string_view subscribing = "Permissions Violation for Subscription to \"";
    const auto quoted = [&](std::string_view before) {
        const std::string_view rest = text.substr(before.size());
        return std::string(rest.substr(0, rest.find('"')));
    };
    if (text.starts_with(subscribing)) {
        reportDenied("subscribe to", quoted(subscribing));
        return;
    }
    if (text.starts_with(publishing)) {
        const std::string subject = quoted(publishing);
        std::shared_ptr<FrameWatcher> watcher;
        {
            Platform::MutexLock lock(mutex_);
            for (uint64_t number = confirmedFrames_; number < nextFrame_; ++number) {
                Frame& frame = frames_[number - firstFrame_];
                if (!frame.isKept || frame.subject != subject)
                    continue;
                frame.isKept = false;
                watcher = std::move(frame.watcher);
                break;
            }
        }
        reportDenied("publish to", subject);
        if (watcher)
            watcher->denied(MODULE_STATUS_APP_SERVICE_UNAUTHORIZED);
        return;
    }
    session.refused = text.starts_with("Authorization Violation") || text.starts_with("User Authentication");
    session.why = session.refused ? u"it refuses the user \"" + printable(address_.credentials.user) +
                                        u"\" or the password"
                                  : u"it says \"" + printable(text) + u"\"";
}

// Once until the server has been there again, and what somebody has to put right besides.
void NatsClient::reportAway(const std::u16string& why, bool isRefusal) {
    if (!std::exchange(reportedAway_, true) || (isRefusal && !reportedRefusal_))
        report(u"no connection to the server at " + Ferrow::toUtf16(address_.text()) + u": " + why +
               u". Trying on.");
    reportedRefusal_ = reportedRefusal_ || isRefusal;
}

void NatsClient::reportBack() {
    if (std::exchange(reportedAway_, false))
        report(u"connected to the server at " + Ferrow::toUtf16(address_.text()) + u".");
    reportedRefusal_ = false;
}

// What was published before the server had said how much it takes.
void NatsClient::reportTooLarge() {
    size_t count = 0;
    {
        Platform::MutexLock lock(mutex_);
        count = std::exchange(tooLarge_, 0);
    }
    if (count != 0)
        report(Ferrow::decimal(count) + u" messages are lost: the server takes no more than " +
               Ferrow::decimal(mostPayload_) + u" bytes in one.");
}

void NatsClient::reportDenied(std::string_view what, const std::string& subject) {
    if (deniedSubjects_.size() < mostReportedSubjects && deniedSubjects_.insert(subject).second)
        report(u"the server does not allow \"" + printable(address_.credentials.user) + u"\" to " +
               Ferrow::toUtf16(what) + u" \"" + printable(subject) + u"\".");
}

}  // namespace MessageBus
