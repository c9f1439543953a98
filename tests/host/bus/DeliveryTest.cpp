#include <atomic>
#include <cstring>
#include <deque>
#include <future>
#include <map>
#include <memory>
#include <vector>

#include "host/bus/BusFixture.h"
#include "host/bus/common/BusLimits.h"
#include "platform/DebuggerOutput.h"

namespace {

std::u16string numbered(const char16_t* text, int number) {
    const std::string digits = std::to_string(number);
    return text + std::u16string(digits.begin(), digits.end());
}

uint32_t ignoreMessage(void*, const MessageHeader*, const char16_t*, const char16_t*, const char16_t*) {
    return MODULE_STATUS_SUCCESS;
}
uint32_t ignoreReply(void*, uint64_t, const MessageHeader*, const char16_t*, const char16_t*, const char16_t*,
                     uint32_t) {
    return MODULE_STATUS_SUCCESS;
}

TEST(Delivery, ReachesEveryMatchingSubscriptionAndNoOther) {
    Log exact(u"Brevant\\.Alert\\.Show\\.1"), pattern(u"Brevant.Alert.\\{1\\}(.Dismissed.|.Failed.)x");
    Peer named, publisher;
    Gate reached;
    named.onName(u"Brevant.Alert.Show.1",
                 [&](const BusMessage&) { return reached.open(), reached.pass(), 0; });
    EXPECT_EQ(publisher.publish(u"Brevant.Alert.Show.10"), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(publisher.publish(u"brevant.alert.show.1"), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(publisher.publish(u"Brevant.Alert.{1}.Shown.x"), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(publisher.publish(u"Brevant.Alert.Show.1", u"{}", 7), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(publisher.publish(u"Brevant.Alert.{1}.Failed.x"), MODULE_STATUS_SUCCESS);

    const auto shown = exact.waitFor(u"Brevant.Alert.Show.1");
    ASSERT_TRUE(shown);
    EXPECT_EQ(shown->payload, u"{}");
    EXPECT_EQ(shown->sender, u"Peer");
    EXPECT_EQ(shown->header.sessionId, 7u);
    EXPECT_TRUE(pattern.waitFor(u"Brevant.Alert.{1}.Failed.x"));
    EXPECT_TRUE(reached.waitForArrivals(1));
    EXPECT_EQ(exact.all().size(), 1u);
    EXPECT_EQ(pattern.all().size(), 1u);
    EXPECT_EQ(reached.arrived(), 1);
}

TEST(Delivery, ReadsNoFurtherThanAnOldHeaderGoes) {
    // Exactly the bytes of a version 1 header, on the heap, where reading on would be seen.
    const auto block = std::make_unique<unsigned char[]>(BREVANT_MESSAGE_V1_SIZE);
    MessageHeader old = plainHeader();
    old.version = 1;
    std::memcpy(block.get(), &old, BREVANT_MESSAGE_V1_SIZE);
    Log log(u"Old");
    RawHandle handle;
    EXPECT_EQ(
        bus->publishAlternate(handle, reinterpret_cast<const MessageHeader*>(block.get()), u"Old", u"", u""),
        MODULE_STATUS_SUCCESS);
    const auto message = log.waitFor(u"Old");
    ASSERT_TRUE(message);
    EXPECT_EQ(message->header.version, 1);
    EXPECT_EQ(message->header.sessionId, 0u);
}

TEST(Delivery, KeepsTheOrderOfEachPublisher) {
    constexpr int publishers = 6, messagesEach = 400;
    std::mutex mutex;
    std::map<std::u16string, int> next;  // by subscription and publisher
    Gate received;
    received.open();
    const auto check = [&](const std::u16string& subscription) {
        return [&, subscription](const BusMessage& message) {
            {
                std::lock_guard lock(mutex);
                const size_t end = message.payload.find(u'/');
                const int number = next[subscription + message.payload.substr(0, end)]++;
                EXPECT_EQ(message.payload.substr(end), numbered(u"/", number));
            }
            return received.pass(), MODULE_STATUS_SUCCESS;
        };
    };
    Peer exact, pattern;
    exact.onName(u"Order", check(u"exact"));
    pattern.onPattern(u"Ord.*", check(u"pattern"));
    std::vector<std::thread> threads;
    for (int i = 0; i < publishers; ++i)
        threads.emplace_back([i] {
            Peer publisher;
            for (int n = 0; n < messagesEach; ++n)
                publisher.publish(u"Order", numbered(u"", i) + numbered(u"/", n));
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_TRUE(received.waitForArrivals(2 * publishers * messagesEach));
    std::lock_guard lock(mutex);
    EXPECT_EQ(next.size(), 2u * publishers);
}

TEST(Delivery, OfOtherPublishersGoesOnWhileACallbackBlocks) {
    Gate blocking, second, other;
    second.open();
    other.open();
    Peer receiver, blocked, free;
    receiver.onName(u"Topic", [&](const BusMessage& message) {
        (message.payload == u"first" ? blocking : message.payload == u"second" ? second : other).pass();
        return MODULE_STATUS_SUCCESS;
    });
    blocked.publish(u"Topic", u"first");
    ASSERT_TRUE(blocking.waitForArrivals(1));
    blocked.publish(u"Topic", u"second");
    free.publish(u"Topic", u"free");
    EXPECT_TRUE(other.waitForArrivals(1));
    EXPECT_EQ(second.arrived(), 0);
    blocking.open();
    EXPECT_TRUE(second.waitForArrivals(1));
}

TEST(Delivery, ToManyGoesOnBehindOneThatBlocks) {
    // More than one piece of the list of receivers holds, with holes.
    constexpr size_t receivers = 200, left = 140, blocking = 70;
    Gate blocked, others;
    others.open();
    std::atomic<int> order{0};
    std::deque<Peer> peers(receivers);
    for (size_t i = 0; i < receivers; ++i)
        peers[i].onPattern(u"Many.*", [&, i](const BusMessage& message) {
            if (i == blocking) {
                EXPECT_EQ(message.payload, numbered(u"", order++));
                blocked.pass();
            } else {
                others.pass();
            }
            return MODULE_STATUS_SUCCESS;
        });
    while (peers.size() > left) {
        peers.pop_front();
        peers.pop_back();
    }
    const auto remaining = static_cast<int>(peers.size()) - 1;
    Peer publisher;
    for (int n = 0; n < 3; ++n)
        publisher.publish(u"Many.1", numbered(u"", n));
    EXPECT_TRUE(others.waitForArrivals(3 * remaining));
    EXPECT_EQ(blocked.arrived(), 1);
    blocked.open();
    EXPECT_TRUE(blocked.waitForArrivals(3));
    EXPECT_EQ(others.arrived(), 3 * remaining);
}

TEST(Delivery, ToOneSubscriptionLeavesThreadsToTheOthers) {
    constexpr int senders = static_cast<int>(MessageBus::subscriptionCallbacks) + 6;
    Gate gate;
    Log others(u"Other");
    Peer receiver;
    receiver.onName(u"\x1B", [&](const BusMessage&) { return gate.pass(), MODULE_STATUS_SUCCESS; });
    std::deque<Peer> publishers(senders);
    testing::internal::CaptureStderr();
    Platform::writeToDebugger(u"here\n");
    for (Peer& publisher : publishers)
        publisher.publish(u"\x1B");
    ASSERT_TRUE(gate.waitForArrivals(static_cast<int>(MessageBus::subscriptionCallbacks)));
    publishers.front().publish(u"Other");
    EXPECT_TRUE(others.waitFor(u"Other"));
    EXPECT_EQ(gate.arrived(), static_cast<int>(MessageBus::subscriptionCallbacks));
    gate.open();
    EXPECT_TRUE(gate.waitForArrivals(senders));
    // Said once, unless debugger output goes elsewhere on this system.
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(said.empty() || (std::ranges::count(said, '\n') == 2 && said.ends_with("has to wait.\n")))
        << said;
    EXPECT_EQ(said.find('\x1B'), said.npos);
}

TEST(Delivery, EndsWithTheSubscription) {
    struct State {
        RawHandle handle;
        uint32_t id = 0;
        Gate calls;
    } state;
    state.id = bus->subscribe(
        state.handle, &state,
        [](void* context, const MessageHeader*, const char16_t*, const char16_t*, const char16_t*) {
            auto& self = *static_cast<State*>(context);
            EXPECT_EQ(bus->unsubscribe(self.handle, self.id), MODULE_STATUS_SUCCESS);  // in its own callback
            EXPECT_EQ(bus->unsubscribe(self.handle, self.id), MODULE_STATUS_NOT_FOUND);
            self.calls.pass();
            return MODULE_STATUS_SUCCESS;
        },
        u"Once");
    ASSERT_NE(state.id, 0u);
    Peer publisher;
    for (int i = 0; i < 3; ++i)
        publisher.publish(u"Once", numbered(u"", i));
    ASSERT_TRUE(state.calls.waitForArrivals(1));
    state.calls.open();
    Log log(u"Last");
    publisher.publish(u"Once");
    publisher.publish(u"Last");
    EXPECT_TRUE(log.waitFor(u"Last"));
    EXPECT_EQ(state.calls.arrived(), 1);
}

TEST(Delivery, RefusesAPublisherWhoseMessagesPileUp) {
    const std::u16string payload(1 << 20, u'x');
    Gate gate;
    Peer receiver, publisher, other;
    Log log(u"Through");
    receiver.onName(u"Pile", [&](const BusMessage&) { return gate.pass(), MODULE_STATUS_SUCCESS; });
    size_t accepted = 0;
    uint32_t status = MODULE_STATUS_SUCCESS;
    while (accepted < 100 && (status = publisher.publish(u"Pile", payload)) == MODULE_STATUS_SUCCESS)
        ++accepted;
    EXPECT_EQ(status, MODULE_STATUS_NO_MEMORY);
    // Two bytes for each unit; on its way to a server and back a message may count twice.
    EXPECT_LT(accepted, MessageBus::handleMessageBytes / (2 << 20));
    EXPECT_GT(accepted, MessageBus::handleMessageBytes / (2 << 20) / 4);
    EXPECT_EQ(other.publish(u"Through"), MODULE_STATUS_SUCCESS);
    EXPECT_TRUE(log.waitFor(u"Through"));
    gate.open();
    EXPECT_TRUE(gate.waitForArrivals(static_cast<int>(accepted)));
    EXPECT_TRUE(eventually([&] { return publisher.publish(u"Pile", payload) == MODULE_STATUS_SUCCESS; }));
}

TEST(Handles, ThatAreStaleOrForeignAreRefused) {
    const MessageHeader header = plainHeader();
    RawHandle kept;
    const uint32_t keptId = bus->subscribe(kept, nullptr, ignoreMessage, u"A");
    BrevantBusHandle stale = nullptr;
    ASSERT_EQ(bus->acquireHandle(&stale), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(bus->unsubscribe(stale, keptId), MODULE_STATUS_NOT_FOUND);
    EXPECT_EQ(bus->releaseHandle(stale), MODULE_STATUS_SUCCESS);
    RawHandle next;  // in the same place
    for (const BrevantBusHandle handle :
         {stale, BrevantBusHandle{}, reinterpret_cast<BrevantBusHandle>(-1)}) {
        EXPECT_EQ(bus->publish(handle, &header, u"A", u"", u""), MODULE_STATUS_INVALID_HANDLE);
        EXPECT_EQ(bus->request(handle, 0, nullptr, ignoreReply, &header, u"A", u"", u"", 1),
                  MODULE_STATUS_INVALID_HANDLE);
        EXPECT_EQ(bus->subscribe(handle, nullptr, ignoreMessage, u"A"), 0u);
        EXPECT_EQ(bus->unsubscribe(handle, keptId), MODULE_STATUS_INVALID_HANDLE);
        EXPECT_EQ(bus->releaseReplyFunction(handle, ignoreReply), MODULE_STATUS_INVALID_HANDLE);
        EXPECT_EQ(bus->releaseHandle(handle), MODULE_STATUS_INVALID_HANDLE);
    }
}

TEST(Handles, TakeNoNullArgumentsAndNoMalformedPatterns) {
    const MessageHeader header = plainHeader();
    RawHandle handle;
    EXPECT_EQ(bus->acquireHandle(nullptr), MODULE_STATUS_INVALID_PARAMETER);
    EXPECT_EQ(bus->publish(handle, nullptr, u"A", u"", u""), MODULE_STATUS_INVALID_PARAMETER);
    EXPECT_EQ(bus->publish(handle, &header, u"A", u"", nullptr), MODULE_STATUS_INVALID_PARAMETER);
    EXPECT_EQ(bus->request(handle, 0, nullptr, nullptr, &header, u"A", u"", u"", 1),
              MODULE_STATUS_INVALID_PARAMETER);
    EXPECT_EQ(bus->subscribe(handle, nullptr, nullptr, u"A"), 0u);
    EXPECT_EQ(bus->subscribe(handle, nullptr, ignoreMessage, nullptr), 0u);
    EXPECT_EQ(bus->subscribePattern(handle, nullptr, ignoreMessage, u"("), 0u);
    EXPECT_EQ(bus->releaseReplyFunction(handle, nullptr), MODULE_STATUS_INVALID_PARAMETER);
    EXPECT_EQ(bus->unsubscribe(handle, 4711), MODULE_STATUS_NOT_FOUND);
}

// One who has two handles, and a callback that runs on behalf of the first.
class BusyOwner : public testing::Test {
protected:
    BusyOwner() {
        for (BrevantBusHandle* handle : {&called, &idle}) {
            EXPECT_EQ(bus->acquireHandle(handle), MODULE_STATUS_SUCCESS);
            EXPECT_NE(bus->subscribe(*handle, this, call, handle == &called ? u"Call" : u"Idle"), 0u);
        }
        publisher.publish(u"Call");
        EXPECT_TRUE(gate.waitForArrivals(1));
    }
    // Whether the callback had returned when the release had.
    std::future<bool> release(BrevantBusHandle handle) {
        return std::async(std::launch::async, [this, handle] {
            EXPECT_EQ(bus->releaseHandle(handle), MODULE_STATUS_SUCCESS);
            return returned.load();
        });
    }
    static bool waits(const std::future<bool>& release) {
        return release.wait_for(std::chrono::milliseconds(50)) == std::future_status::timeout;
    }
    static uint32_t call(void* context, const MessageHeader*, const char16_t*, const char16_t*,
                         const char16_t*) {
        auto& self = *static_cast<BusyOwner*>(context);
        self.gate.pass();
        self.returned = true;
        return MODULE_STATUS_SUCCESS;
    }

    Gate gate;
    std::atomic<bool> returned{false};
    BrevantBusHandle called = nullptr, idle = nullptr;
    Peer publisher;
};

TEST_F(BusyOwner, ReleasesAHandleOnceItsCallbackHasReturnedAndAnotherAtOnce) {
    auto own = release(called);
    EXPECT_TRUE(waits(own));
    // That somebody waits already keeps nobody else: the callback may need what the other holds.
    auto other = release(idle);
    EXPECT_EQ(other.wait_for(std::chrono::seconds(20)), std::future_status::ready);
    gate.open();
    EXPECT_TRUE(own.get());
    EXPECT_FALSE(other.get());
}

TEST_F(BusyOwner, MakesUpForAReleaseThatCouldNotWait) {
    // On a thread of the bus's it cannot: two callbacks could wait for each other.
    Peer releaser;
    releaser.onName(u"Release", [&](const BusMessage& message) {
        EXPECT_EQ(bus->releaseHandle(called), MODULE_STATUS_SUCCESS);
        return releaser.reply(message, u"Released");
    });
    BusMessage reply;
    EXPECT_EQ(publisher.request(u"Release", u"", reply), MODULE_STATUS_SUCCESS);
    {
        RawHandle stranger;
        EXPECT_NE(bus->subscribe(stranger, nullptr, ignoreMessage, u"Call"), 0u);
    }
    EXPECT_FALSE(returned);
    auto next = release(idle);
    EXPECT_TRUE(waits(next));
    gate.open();
    EXPECT_TRUE(next.get());
}

TEST(Handles, MayBeMadeAndDroppedByCallbacksOfManyThreads) {
    Peer receiver;
    Log log(u"Echo");
    receiver.onPattern(u"Work\\..*", [](const BusMessage&) {
        Peer own;
        own.onName(u"Nobody", [](const BusMessage&) { return MODULE_STATUS_SUCCESS; });
        own.publish(u"Nobody");
        return own.publish(u"Echo");
    });
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([] {
            for (int n = 0; n < 50; ++n)
                Peer().publish(numbered(u"Work.", n));
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(log.all(200).size(), 200u);
}

}  // namespace
