// What one connection to the server is to the bus.
#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/bus/common/Outbox.h"
#include "host/bus/common/Subscription.h"
#include "host/bus/common/ThreadOwner.h"
#include "host/bus/nats/IncomingRequests.h"
#include "host/bus/nats/NatsClient.h"
#include "host/bus/nats/PeerTable.h"
#include "host/bus/nats/RemoteRequest.h"

namespace MessageBus {

// A message for this process's subscriptions.
struct Arrival {
    WireMessage message;
    std::u16string name;
    std::string inbox;  // of a request, where it is answered
};

// Subjects: "mb." and the name's tokens for a message, "mq." for a request; "mp.<process>." and the tokens
// for a request to a process that has announced a pattern; "mc." for what processes tell each other;
// "_INBOX_<user>.<process>.<cookie>.<copy>" for what comes back to a requester. A whole name stands in the
// message; what does not belong to the subject that it came under is not delivered, for the server's
// permissions are given for subjects.
class NatsLink final : public ThreadOwner,
                       public NatsClient::Events,
                       public std::enable_shared_from_this<NatsLink> {
public:
    // What the bus does with what comes. On the client's thread.
    class Receiver {
    public:
        virtual void arrived(NatsLink& link, Arrival& arrival) = 0;
        // The reply to the request.
        virtual void replied(RemoteRequest& request, const WireMessage& reply) = 0;

    protected:
        ~Receiver() = default;
    };

    // The receiver and the table outlive the link's threads.
    NatsLink(const ServerAddress& address, Receiver& receiver, RequestTable& table);

    NatsClient& client() noexcept { return client_; }
    PeerTable& peers() noexcept { return peers_; }
    IncomingRequests& incoming() noexcept { return incoming_; }
    const ProcessId& process() const noexcept { return client_.process(); }

    // A subscription begins or ends.
    void subscribe(const Subscription& subscription);
    void unsubscribe(const Subscription& subscription);

    // Where the copy of a request is answered.
    std::string inboxOf(uint64_t cookie, size_t copy) const;
    static std::string addressOf(const ProcessId& process, const std::string& subject);
    static std::string observerAddress(const ProcessId& observer, const std::string& subject);
    // Before this time the announcements of others may still be on their way.
    Platform::Clock::Time settledTime() const noexcept { return settled_.load(); }
    void refuse(const std::string& inbox, uint32_t status);
    // Copies of a request for those who watch its name, to be published with it.
    void addCopies(std::u16string_view name, const std::string& subject, const WireMessage& request,
                   std::vector<Frame>& frames);
    // Has those who watch the request's name know how it ended.
    void tellObservers(RemoteRequest& request, const WireMessage& outcome);
    void tellObservers(RemoteRequest& request, uint32_t failure) {
        tellObservers(request, own(WireKind::refusal, failure));
    }

    void beginStop() override;
    void join() override { client_.join(); }
    bool ended() override { return client_.ended(); }
    bool isOwnThread() const noexcept override { return client_.isOwnThread(); }

private:
    using Time = Platform::Clock::Time;

    void settling() override;
    bool mayOpen() noexcept override;
    void opened() override { missed_.clear(); }
    void lost() noexcept override;
    void message(const ServerMessage& message) override;
    Time tick(Time now) override;

    void dispatch(const ServerMessage& message);
    void receive(std::string_view subject, WireKind kind, const ServerMessage& message);
    void answered(std::string_view token, const ServerMessage& message);
    void control(const ServerMessage& message);
    std::string observerInbox(const ProcessId& observer) const;
    // To the one what this process is, to the other what it has announced.
    void describeSelf(const std::string& presence, const std::string& announcements);
    void follow(const std::shared_ptr<RemoteRequest>& request, const RemoteRequest::Census& census);
    std::vector<ProcessId> others();
    bool isRepeat(const WireMessage& message);
    void noteGarbage(std::string_view subject);

    WireMessage own(WireKind kind, uint32_t value = 0) const;
    void announce(const std::string& subject, const std::string& reply, const WireMessage& message);
    void tell(const std::string& subject, const std::string& reply, const WireMessage& message);
    void addReference(const std::string& subject) REQUIRES(mutex_);
    void dropReference(const std::string& subject) REQUIRES(mutex_);

    Receiver& receiver_;
    RequestTable& requests_;
    PeerTable peers_;
    IncomingRequests incoming_;
    std::atomic<Time> settled_{Time::max()};

    // The client's thread alone.
    struct LastHeard {
        uint64_t sequence = 0;
        uint64_t turn = 0;  // for finding who has been silent for longest
    };
    std::map<ProcessId, LastHeard> heard_;
    uint64_t turn_ = 0;
    std::multimap<Time, std::weak_ptr<RemoteRequest>> censuses_;
    bool garbageReported_ = false;
    std::set<ProcessId> missed_;  // that were there when the connection was lost and are not back

    struct ServerSubscription {
        uint64_t id = 0;
        size_t count = 0;
    };
    Platform::Mutex mutex_;  // taken under the bus's; the client's is taken under it
    std::unordered_map<std::string, ServerSubscription> subjects_ GUARDED_BY(mutex_);
    bool isAddressed_ GUARDED_BY(mutex_) = false;
    std::map<std::u16string, size_t> announced_ GUARDED_BY(mutex_);  // patterns of this process

    NatsClient client_;  // last: its thread uses what stands above
};

}  // namespace MessageBus
