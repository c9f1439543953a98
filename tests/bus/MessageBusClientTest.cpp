#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "bus/MessageBusClient.h"
#include "bus/MessageBusShimImpl.h"
#include "status/ModuleException.h"
#include "support/FakeBus.h"
#include "support/LogCapture.h"

namespace {

struct FakeProcess : Tavix::ProcessAPI {
    explicit FakeProcess(uint32_t itsSession) : session(itsSession) {}
    uint32_t GetCurrentProcessId() override { return 77; }
    bool ProcessIdToSessionId(uint32_t process, uint32_t* sessionId) override {
        EXPECT_EQ(process, 77u);
        *sessionId = session;
        return knows;
    }
    uint32_t session;
    bool knows = true;
};

std::shared_ptr<Tavix::Message> messageOf(const std::u16string& name, uint32_t flags = 0,
                                          uint32_t sessionId = 0) {
    auto message = Tavix::makeMessage(name, u"sender", u"payload");
    message->header()->flags = flags;
    message->header()->sessionId = sessionId;
    message->header()->replyCookie = 9;
    return message;
}

class MessageBusClientTest : public testing::Test {
protected:
    // A callback that notes the names it is called with.
    Tavix::MessageCallback noting(uint32_t status = MODULE_STATUS_SUCCESS) {
        return [this, status](const std::shared_ptr<Tavix::Message>& message) {
            heard.push_back(message->name());
            return status;
        };
    }
    std::vector<std::u16string> taken() { return std::exchange(heard, {}); }
    using Names = std::vector<std::u16string>;

    FakeBus bus;
    LogCapture log;
    std::vector<std::u16string> heard;
    std::shared_ptr<Tavix::MessageBusClient> client = bus.makeClient();
};

TEST_F(MessageBusClientTest, PublishesInTheFormAskedFor) {
    EXPECT_EQ(client->publish(messageOf(u"A", 0, 3)), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(client->publishAlternate(messageOf(u"B")), MODULE_STATUS_SUCCESS);
    const auto sent = bus.published();
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_EQ(sent[0].name + sent[0].sender + sent[0].payload, u"Asenderpayload");
    EXPECT_EQ(sent[0].header.sessionId, 3u);
    EXPECT_FALSE(sent[0].alternate);
    EXPECT_TRUE(sent[1].alternate);
    EXPECT_EQ(client->publish(nullptr), MODULE_STATUS_INVALID_PARAMETER);

    // To the bus a name ends at its zero.
    const std::u16string name(u"A\0B", 3);
    bus.answer(u"A", [](const FakeBus::Sent&) { return std::nullopt; });
    std::shared_ptr<Tavix::Reply> reply;
    EXPECT_EQ(client->publish(messageOf(name)), MODULE_STATUS_INVALID_PARAMETER);
    EXPECT_EQ(client->requestAlternate(messageOf(name), reply, {}), MODULE_STATUS_INVALID_PARAMETER);
    EXPECT_EQ(client->subscribe(name, noting()), MODULE_STATUS_UNSUCCESSFUL);
    EXPECT_EQ(client->subscribeFilter(name, noting()), MODULE_STATUS_UNSUCCESSFUL);
    EXPECT_EQ(bus.published().size() + bus.requests().size() + bus.subscriptionCount(), 2u);
}

TEST_F(MessageBusClientTest, PublishesAReplyToEverybodyElseOnce) {
    const auto reply = messageOf(u"R", BREVANT_MESSAGE_REPLY | 0x100);
    EXPECT_EQ(client->publish(reply), MODULE_STATUS_SUCCESS);
    const auto sent = bus.published();
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_EQ(+sent[0].header.flags, BREVANT_MESSAGE_REPLY | BREVANT_MESSAGE_BROADCAST_COPY_MADE | 0x100u);
    EXPECT_EQ(+sent[0].header.replyCookie, 9u);
    EXPECT_EQ(+sent[1].header.flags, BREVANT_MESSAGE_BROADCAST_COPY_MADE | 0x100u);
    EXPECT_EQ(+sent[1].header.replyCookie, 0u);
    EXPECT_EQ(+reply->header()->flags, +sent[1].header.flags);

    client->publish(reply);
    EXPECT_EQ(bus.published().size(), 3u);

    const auto private_ = messageOf(u"R", BREVANT_MESSAGE_REPLY | BREVANT_MESSAGE_NO_BROADCAST_COPY);
    client->publish(private_);
    EXPECT_EQ(bus.published().size(), 4u);
    EXPECT_EQ(+private_->header()->flags, BREVANT_MESSAGE_REPLY | BREVANT_MESSAGE_NO_BROADCAST_COPY);
}

TEST_F(MessageBusClientTest, ToleratesAFailedCopyButNotAFailedReply) {
    bus.whenCalled("publishAlternate", [this, first = true]() mutable {
        if (std::exchange(first, false))
            bus.failNext("publishAlternate", MODULE_STATUS_TIMEOUT);
    });
    EXPECT_EQ(client->publishAlternate(messageOf(u"R", BREVANT_MESSAGE_REPLY)), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(bus.published().size(), 1u);
    EXPECT_TRUE(log.has(2, u"Failed to publish non-reply copy of the message. Error code 2147483661."));

    bus.failNext("publish", MODULE_STATUS_TIMEOUT);
    const auto reply = messageOf(u"R", BREVANT_MESSAGE_REPLY);
    EXPECT_EQ(client->publish(reply), MODULE_STATUS_TIMEOUT);
    EXPECT_TRUE(log.has(4, u"Failed to publish message. Error code 2147483661."));
    EXPECT_EQ(bus.callCount("publish"), 1u);
    EXPECT_TRUE(reply->header()->flags & BREVANT_MESSAGE_REPLY);
}

TEST_F(MessageBusClientTest, DeliversByNameAndByPatternAndHandsTheStatusBack) {
    EXPECT_EQ(client->subscribe(u"A.b", noting(MODULE_STATUS_DATA_ERROR)), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(client->subscribeFilter(u"P\\.(x|y)", u"alias", noting(7)), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(bus.deliver(u"A.b", u""), MODULE_STATUS_DATA_ERROR);
    EXPECT_EQ(bus.deliver(u"P.y", u""), 7u);
    bus.deliver(u"P.yy", u"");
    bus.deliver(u"a.b", u"");
    EXPECT_EQ(taken(), (Names{u"A.b", u"P.y"}));

    client->subscribe(u"T", [](const std::shared_ptr<Tavix::Message>&) -> uint32_t {
        throw std::runtime_error("callback");
    });
    EXPECT_EQ(bus.deliver(u"T", u""), MODULE_STATUS_UNKNOWN_EXCEPTION);
    client->subscribe(u"E", nullptr);
    EXPECT_EQ(bus.deliver(u"E", u""), MODULE_STATUS_UNKNOWN_EXCEPTION);
}

TEST_F(MessageBusClientTest, EndsEverySubscriptionOfAnAlias) {
    client->subscribe(u"A", u"x", noting());
    client->subscribe(u"B", u"x", noting());
    client->subscribeFilter(u"C.*", u"x", noting());
    client->subscribe(u"D", noting());
    EXPECT_EQ(client->unsubscribe(u"A"), MODULE_STATUS_SUCCESS);
    EXPECT_TRUE(log.has(2, u"Subscription not found. Alias: A."));
    EXPECT_EQ(bus.subscriptionCount(), 4u);
    EXPECT_EQ(client->unsubscribe(u"x"), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(bus.subscriptionCount(), 1u);
    client.reset();
    EXPECT_EQ(bus.subscriptionCount(), 0u);
    EXPECT_EQ(bus.callCount("releaseReplyFunction"), 1u);
}

TEST_F(MessageBusClientTest, RefusesWhatTheBusOrThePatternSyntaxRefuses) {
    EXPECT_EQ(client->subscribeFilter(u"(", noting()), MODULE_STATUS_INVALID_PARAMETER);
    EXPECT_EQ(bus.callCount("subscribePattern"), 0u);
    const auto records = log.records();
    ASSERT_FALSE(records.empty());
    EXPECT_TRUE(records.back().message.starts_with(
        u"subscribeFilter failed. Regex error with regex \"(\" [caught: "));

    bus.failNext("subscribe", 0);
    EXPECT_EQ(client->subscribe(u"A", u"x", noting()), MODULE_STATUS_UNSUCCESSFUL);
    EXPECT_TRUE(log.has(4, u"Failed to subscribe. Alias: x Message name: A"));
    bus.failNext("subscribePattern", 0);
    EXPECT_EQ(client->subscribeFilter(u"B", u"x", noting()), MODULE_STATUS_UNSUCCESSFUL);
    EXPECT_TRUE(log.has(4, u"Failed to subscribeFilter. Alias: x Message nameRegex: B"));
    for (const char16_t* name : {u"A", u"B"})
        client->deliverLocally(messageOf(name));
    EXPECT_EQ(taken(), Names{});
    // Nothing is left that would be unsubscribed.
    client->unsubscribe(u"x");
    EXPECT_EQ(bus.callCount("unsubscribe"), 0u);
}

TEST_F(MessageBusClientTest, DropsMessagesOfOtherSessions) {
    const auto hears = [&](Tavix::MessageBusClient& receiver, uint32_t sessionId, uint16_t version = 2) {
        receiver.subscribeForSession(u"N", u"x", noting(1));
        receiver.subscribeFilterForSession(u"N", u"x", noting(1));
        MessageHeader header{};
        header.version = version;
        header.sessionId = sessionId;
        const uint32_t status = bus.deliver(u"N", u"", u"", &header);
        EXPECT_EQ(status, heard.empty() ? 0u : 1u);
        receiver.unsubscribe(u"x");
        return taken().size();
    };
    const auto inSession = bus.makeClient(std::make_shared<FakeProcess>(5));
    EXPECT_TRUE(log.has(1, u"Found session id 5 for process 77"));
    EXPECT_EQ(hears(*inSession, 3), 0u);
    EXPECT_EQ(hears(*inSession, 0), 2u);
    EXPECT_EQ(hears(*inSession, 5), 2u);
    EXPECT_EQ(hears(*inSession, 3, 1), 2u);

    const auto unknown = std::make_shared<FakeProcess>(5);
    unknown->knows = false;
    const auto inNone = bus.makeClient(unknown);
    EXPECT_TRUE(log.has(4, u"Failed to get the session id for process 77 - defaulting to 0"));
    EXPECT_EQ(hears(*inNone, 3), 2u);
}

TEST_F(MessageBusClientTest, DeliversLocallyToEveryMatch) {
    client->subscribe(u"A", u"1", noting(MODULE_STATUS_DATA_ERROR));
    client->subscribeFilter(u"A|B", u"2", noting());
    client->subscribeFilter(u"[A-Z]", u"3", noting());
    client->subscribe(u"B", u"4", noting());
    EXPECT_EQ(client->deliverLocally(messageOf(u"A")), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(taken(), Names(3, u"A"));
    EXPECT_EQ(client->deliverLocally(messageOf(u"a")), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(taken(), Names{});
    client->subscribe(u"B", u"0", [](const std::shared_ptr<Tavix::Message>&) -> uint32_t { throw 5; });
    EXPECT_THROW(client->deliverLocally(messageOf(u"B")), int);
    EXPECT_EQ(taken(), Names(3, u"B")) << "the others hear it all the same";
    EXPECT_EQ(client->deliverLocally(nullptr), MODULE_STATUS_INVALID_PARAMETER);
    EXPECT_TRUE(bus.published().empty());
}

TEST(MessageBusShimImplTest, RefusesToBindToNothingAndFailsOnMissingEntries) {
    LogCapture log;
    int handle = 0;
    BrevantBusFunctions empty{};
    EXPECT_THROW(Tavix::MessageBusShimImpl(&handle, nullptr), Tavix::ModuleException);
    EXPECT_TRUE(log.has(4, u"Invalid message bus functions object. Throwing ModuleException."));

    Tavix::MessageBusShimImpl shim(&handle, &empty);
    EXPECT_EQ(shim.publish(nullptr, false), MODULE_STATUS_INVALID_PARAMETER);
    EXPECT_EQ(shim.request(nullptr, 0, nullptr, 0, true), MODULE_STATUS_INVALID_PARAMETER);
    EXPECT_EQ(shim.publish(messageOf(u"A"), true), MODULE_STATUS_NOT_SUPPORTED);
    EXPECT_EQ(shim.request(messageOf(u"A"), 0, nullptr, 0, false), MODULE_STATUS_NOT_SUPPORTED);
    EXPECT_EQ(shim.subscribe(u"A", nullptr) + shim.subscribeFilter(u"A", nullptr), 0u);
    EXPECT_EQ(shim.unsubscribe(1), MODULE_STATUS_NOT_SUPPORTED);
}

}  // namespace
