// The connection of one process to the server.
#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "host/bus/common/QueuedMessage.h"
#include "host/bus/common/ThreadOwner.h"
#include "host/bus/nats/ServerAddress.h"
#include "host/bus/nats/ServerParser.h"
#include "host/bus/nats/WireMessage.h"
#include "platform/Clock.h"
#include "platform/Socket.h"
#include "platform/Sync.h"
#include "platform/Thread.h"

namespace MessageBus {

// Who wants to know what the server made of a published frame. Called on the client's thread, under none of
// its locks.
class FrameWatcher {
public:
    // The server has taken it and said before this call whether anybody has subscribed.
    virtual void confirmed() noexcept = 0;
    // The server, or the client on its behalf, refuses it.
    virtual void denied(uint32_t status) noexcept = 0;

protected:
    ~FrameWatcher() = default;
};

// A message for the server.
struct Frame {
    Frame(std::string_view to, std::string_view reply, const WireMessage& message);

    std::string bytes;    // as they are sent
    std::string subject;  // that they are sent to
    size_t payloadAt;     // in the bytes
    std::optional<MessageCharge> charge{};
    std::shared_ptr<FrameWatcher> watcher{};
    std::optional<std::weak_ptr<FrameWatcher>> request{};  // not sent again once that has gone
    bool isKept = true;  // when the connection is lost before it is confirmed it is sent again
    Platform::Clock::Time expires = Platform::Clock::Time::max();  // not sent again from then on
    bool isConfirmed = false;                                      // or has been, by a server that is gone
    Platform::Clock::Time confirmedAt{};
};

// Stays connected: lost, the connection is made again until the client is stopped. Whoever publishes sends as
// far as the system takes it at once, and what others have added meanwhile; the rest goes when it can.
//
//              | away                  | settling                       | open
//   publish    | keeps                 | keeps                          | sends, keeps until confirmed
//   subscribe  | notes                 | sends                          | sends
//   connection | settling, or away if  | open, and all that is kept is  | away
//              | it fails              | sent again in order; away if   |
//              |                       | it is lost                     |
//
//  - A server that has restarted, or was not there at first, settles for settleTime, and up to
//    longestSettleTime while the events miss somebody: those who subscribe must be back before those who
//    publish go on.
//  - A frame counts as confirmed once a PING that followed it is answered. It is kept for retainTime more,
//  and
//    sent again as well: a server that is killed may not have passed on what it has taken. Receivers know
//    repeats by their numbers.
//  - A silent server is asked for signs of life. When it gives none it counts as away, but the connection is
//    kept: on this machine a server that has died has closed it, and one that stands still will go on reading
//    where it stopped. What a new connection sent then could overtake what lies in the old one.
class NatsClient final : public ThreadOwner {
public:
    static constexpr std::chrono::milliseconds connectTimeout{1000};
    static constexpr std::chrono::milliseconds longestRetryWait{250};
    static constexpr std::chrono::milliseconds refusedRetryWait{1000};  // by a server that knows no such user
    static constexpr std::chrono::milliseconds settleTime{600};
    static constexpr std::chrono::milliseconds longestSettleTime{3000};
    static constexpr std::chrono::milliseconds silenceTime{2000};  // three of them until it counts as away
    static constexpr std::chrono::milliseconds retainTime{1000};
    static constexpr size_t mostRetainedBytes = size_t{16} << 20;  // of confirmed frames
    static constexpr std::chrono::milliseconds lastFlushTime{1000};
    // Of lines that wait for a server that takes nothing. Beyond it the connection is made anew.
    static constexpr size_t mostControlBytes = size_t{64} << 20;

    // Called on the client's thread, under none of its locks.
    class Events {
    public:
        // Subscribed again; announcements are sent from here on.
        virtual void settling() {}
        // Whether those who should hear what is sent are back, as far as can be told.
        virtual bool mayOpen() noexcept { return true; }
        // Frames are sent from here on.
        virtual void opened() = 0;
        virtual void lost() noexcept = 0;
        virtual void message(const ServerMessage& message) = 0;
        // Every time the thread wakes; returns when it is to wake at the latest.
        virtual Platform::Clock::Time tick(Platform::Clock::Time now) = 0;

    protected:
        ~Events() = default;
    };

    // The events outlive the thread. Both throw std::system_error when the system gives no socket or thread.
    NatsClient(ServerAddress address, Events& events);
    // Makes the connection in the background. Once, before anything is published.
    void start();
    ~NatsClient() override;

    enum class State { away, settling, open };
    State state() const noexcept { return silent_ ? State::away : state_.load(); }
    // False when it is not open in time, or away for a reason that waiting does not help against.
    bool waitUntilOpen(std::chrono::nanoseconds timeout);

    // Sends the frames under one sequence number, which is greater than those before; returns it. In flight
    // is what they are charged to. Never blocks for the server.
    uint64_t publish(std::vector<Frame> frames);
    // Sends it before whatever waits, or not at all without a connection. With the next publish or flush.
    void announce(const Frame& frame);
    // What one message may have at most; 0 while unknown.
    size_t mostPayloadBytes() const noexcept { return mostPayload_.load(); }

    // One for each subject; returns what it is ended by. Sent with the next publish or flush.
    uint64_t subscribe(const std::string& subject);
    void unsubscribe(uint64_t id) noexcept;
    void flush() noexcept;
    // Sends it, and waits until the server knows of all that was subscribed before. Not while it is away, nor
    // when it has left who waited last without an answer.
    void waitForSubscriptions(std::chrono::nanoseconds timeout) noexcept;
    // Has the thread call tick.
    void wake() noexcept { socket_.wake(); }

    const ProcessId& process() const noexcept { return process_; }
    const std::string& inbox() const noexcept { return inbox_; }  // "_INBOX_user.process."

    // What is not confirmed has lastFlushTime left.
    void beginStop() override;
    void join() override;
    bool ended() override;
    bool isOwnThread() const noexcept override { return false; }  // it runs no callbacks

private:
    using Time = Platform::Clock::Time;

    class Incoming;  // what the parser brings
    struct Session;

    void run();
    // Until the connection is lost. Returns why, for people.
    std::u16string serve(Session& session);
    bool handshake(Session& session, std::string_view info);
    void open();
    void disconnect() noexcept;
    void pause(std::chrono::nanoseconds duration);
    void reportAway(const std::u16string& why, bool isRefusal);
    void reportBack();
    void reportTooLarge();
    void reportDenied(std::string_view what, const std::string& subject);

    void onPong();
    void onError(Session& session, std::string_view text);
    bool refill() REQUIRES(mutex_);
    bool allConfirmed() REQUIRES(mutex_);
    bool stopsNow(Time now) REQUIRES(mutex_);

    const ServerAddress address_;
    Events& events_;
    const ProcessId process_;
    const std::string inbox_;
    Platform::Socket socket_;
    std::atomic<State> state_{State::away};
    std::atomic<bool> silent_{false};
    std::atomic<size_t> mostPayload_{0};
    std::atomic<bool> wantsWritable_{false};

    // The thread's alone.
    bool everOpen_ = false;
    bool hasFailed_ = false;     // to connect, since the client began or was open
    bool reportedAway_ = false;  // since it was open
    bool reportedRefusal_ = false;
    std::set<std::string> deniedSubjects_;  // that have been reported

    // Guards what follows. The socket is used outside of it, by whoever has set flushing_.
    Platform::Mutex mutex_;
    Platform::ConditionVariable changed_;  // state_, flushing_, stopping_, refused_
    bool connected_ GUARDED_BY(mutex_) = false;
    bool flushing_ GUARDED_BY(mutex_) = false;
    bool stopping_ GUARDED_BY(mutex_) = false;
    bool gaveUpWaiting_ GUARDED_BY(mutex_) = false;
    bool refused_ GUARDED_BY(mutex_) = false;
    bool ended_ GUARDED_BY(mutex_) = false;
    Time stopTime_ GUARDED_BY(mutex_) = Time::max();
    std::string sending_ GUARDED_BY(mutex_);  // whole lines and frames, the flusher's while flushing_
    size_t sent_ GUARDED_BY(mutex_) = 0;      // of these
    std::string control_ GUARDED_BY(mutex_);  // lines that go before the next frame
    std::deque<Frame> frames_ GUARDED_BY(mutex_);
    uint64_t firstFrame_ GUARDED_BY(mutex_) = 0;       // the number of the first
    uint64_t nextFrame_ GUARDED_BY(mutex_) = 0;        // to be sent
    uint64_t confirmedFrames_ GUARDED_BY(mutex_) = 0;  // those below are
    size_t retainedBytes_ GUARDED_BY(mutex_) = 0;      // of those
    std::deque<uint64_t> pings_ GUARDED_BY(mutex_);    // the frame that came after each that is not answered
    uint64_t pongs_ GUARDED_BY(mutex_) = 0;            // answered, or in vain
    bool wantsPing_ GUARDED_BY(mutex_) = false;
    bool isSlow_ GUARDED_BY(mutex_) = false;  // somebody has waited for an answer in vain since the last
    size_t tooLarge_ GUARDED_BY(mutex_) = 0;  // frames that were left out
    uint64_t lastSequence_ GUARDED_BY(mutex_) = 0;
    uint64_t lastSubscription_ GUARDED_BY(mutex_) = 0;
    uint64_t knownSubscription_ GUARDED_BY(mutex_) = 0;  // the server knows of those up to it
    std::map<uint64_t, std::string> subscriptions_ GUARDED_BY(mutex_);

    Platform::Mutex joining_;  // several releases may wait for the thread
    Platform::Thread thread_;
};

std::string hexadecimal(const ProcessId& process);
// Nothing when it is no such text.
std::optional<ProcessId> processFrom(std::string_view text);

// A line in the debugger output.
void report(std::u16string_view text) noexcept;

}  // namespace MessageBus
