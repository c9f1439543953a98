#include <deque>
#include <future>
#include <string>

#include "host/bus/BusFixture.h"

namespace {

using namespace std::chrono_literals;

TEST(Request, IsAnsweredToItsRequesterAlone) {
    Log replies(u"Ask\\.Response");
    Peer answerer;
    answerer.onName(u"Ask", [&](const BusMessage& message) {
        EXPECT_NE(message.header.flags & BREVANT_MESSAGE_REPLY_REQUESTED, 0u);
        return answerer.reply(message, u"Ask.Response", u"to " + message.payload);
    });
    std::vector<std::thread> requesters;
    for (char16_t name = u'a'; name < u'i'; ++name)
        requesters.emplace_back([payload = std::u16string(1, name)] {
            Peer requester;
            BusMessage reply;
            EXPECT_EQ(requester.request(u"Ask", payload, reply), MODULE_STATUS_SUCCESS);
            EXPECT_EQ(reply.name + reply.payload, u"Ask.Responseto " + payload);
        });
    for (std::thread& requester : requesters)
        requester.join();
    // The peer publishes a plain copy of each besides; the reply itself is nobody else's.
    const auto copies = replies.all(8);
    EXPECT_EQ(copies.size(), 8u);
    for (const BusMessage& message : copies)
        EXPECT_EQ(message.header.flags & BREVANT_MESSAGE_REPLY, 0u);
}

TEST(Request, TimesOutAndThenTakesNoReplyAndFailsAtOnceWithoutSubscribers) {
    Peer answerer, requester;
    std::promise<BusMessage> received;
    answerer.onName(u"Ask", [&](const BusMessage& message) {
        received.set_value(message);
        return MODULE_STATUS_SUCCESS;
    });
    BusMessage reply;
    EXPECT_EQ(requester.request(u"Ask", u"", reply, 20ms), MODULE_STATUS_TIMEOUT);
    EXPECT_EQ(answerer.reply(received.get_future().get(), u"Ask.Response"), MODULE_STATUS_SUCCESS);
    EXPECT_NE(bus->subscribe(
                  RawHandle(), nullptr, [](auto...) { return uint32_t{0}; }, u"Nobody"),
              0u);  // and is gone
    EXPECT_EQ(requester.request(u"Nobody", u"", reply, 20ms), MODULE_STATUS_NO_SUBSCRIBERS);
}

TEST(Request, EndsWithTheFailureOfItsReceivers) {
    Peer refusing, answering, requester;
    refusing.onPattern(u"Ask.*", [](const BusMessage&) { return MODULE_STATUS_DATA_ERROR; });
    answering.onName(u"Ask.Both", [&](const BusMessage& message) {
        answering.reply(message, u"Ask.Both.Response");
        return MODULE_STATUS_SUCCESS;
    });
    BusMessage reply;
    EXPECT_EQ(requester.request(u"Ask.One", u"", reply), MODULE_STATUS_DATA_ERROR);
    EXPECT_EQ(requester.request(u"Ask.Both", u"", reply), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(reply.name, u"Ask.Both.Response");
}

TEST(Request, OfAHandlerIsAnsweredWhileItWaits) {
    constexpr int depth = 40;
    // Each link answers only when the next one has answered it.
    std::deque<Peer> links(depth + 1);
    for (int i = 0; i <= depth; ++i) {
        const std::u16string name = u"Link." + std::u16string(1, static_cast<char16_t>(u'A' + i));
        const std::u16string next = u"Link." + std::u16string(1, static_cast<char16_t>(u'A' + i + 1));
        links[static_cast<size_t>(i)].onName(name, [&, i, next](const BusMessage& message) {
            Peer& self = links[static_cast<size_t>(i)];
            BusMessage inner{{}, u"", u"", u"end"};
            if (i < depth) {
                EXPECT_EQ(self.request(next, u"", inner), MODULE_STATUS_SUCCESS);
            }
            return self.reply(message, message.name + u".Response", inner.payload + u"!");
        });
    }
    Peer requester;
    BusMessage reply;
    EXPECT_EQ(requester.request(u"Link.A", u"", reply), MODULE_STATUS_SUCCESS);
    EXPECT_EQ(reply.payload, u"end" + std::u16string(depth + 1, u'!'));
}

// Counts the calls of a reply function of its own.
struct Replies {
    Gate calls;
    uint32_t status = 0;

    static uint32_t count(void* context, uint64_t, const MessageHeader*, const char16_t*, const char16_t*,
                          const char16_t*, uint32_t status) {
        auto& self = *static_cast<Replies*>(context);
        self.status = status;
        self.calls.open();
        self.calls.pass();
        return MODULE_STATUS_SUCCESS;
    }
};

class RawRequest : public testing::Test {
protected:
    void SetUp() override {
        answerer_.onName(u"Ask", [this](const BusMessage& message) {
            received_.set_value(message);
            return MODULE_STATUS_SUCCESS;
        });
    }
    BusMessage send(BrevantBusHandle handle, uint32_t timeoutMilliseconds = 60000) {
        const MessageHeader header = plainHeader();
        EXPECT_EQ(bus->requestAlternate(handle, 0, &replies_, Replies::count, &header, u"Ask", u"", u"",
                                        timeoutMilliseconds),
                  MODULE_STATUS_SUCCESS);
        return received_.get_future().get();
    }
    // When it returns, whatever was queued before has been delivered.
    void settle() {
        Peer asking, answering;
        answering.onName(u"Settle", [&](const BusMessage& message) {
            return answering.reply(message, u"Settle.Response");
        });
        BusMessage reply;
        EXPECT_EQ(asking.request(u"Settle", u"", reply), MODULE_STATUS_SUCCESS);
    }

    Replies replies_;
    std::promise<BusMessage> received_;
    Peer answerer_;
};

TEST(LeavingReceivers, EndTheRequestsThatHaveNotReachedThem) {
    Gate gate;
    Replies replies;
    RawHandle requester;
    const MessageHeader header = plainHeader();
    auto receiver = std::make_unique<Peer>();
    receiver->onName(u"Ask", [&](const BusMessage&) { return gate.pass(), MODULE_STATUS_SUCCESS; });
    bus->publish(requester, &header, u"Ask", u"", u"");
    ASSERT_TRUE(gate.waitForArrivals(1));  // what comes after it from this publisher waits
    EXPECT_EQ(bus->request(requester, 0, &replies, Replies::count, &header, u"Ask", u"", u"", 60000),
              MODULE_STATUS_SUCCESS);
    std::thread leaving([&] { receiver.reset(); });
    EXPECT_TRUE(replies.calls.waitForArrivals(1));
    EXPECT_EQ(replies.status, MODULE_STATUS_NO_SUBSCRIBERS);
    gate.open();
    leaving.join();
    EXPECT_EQ(gate.arrived(), 1);
}

TEST_F(RawRequest, IsAnsweredOnceWhateverComesAfter) {
    RawHandle handle;
    const BusMessage request = send(handle);
    EXPECT_EQ(answerer_.reply(request, u"Ask.Response"), MODULE_STATUS_SUCCESS);
    ASSERT_TRUE(replies_.calls.waitForArrivals(1));
    EXPECT_EQ(answerer_.reply(request, u"Ask.Response"), MODULE_STATUS_SUCCESS);
    settle();
    EXPECT_EQ(replies_.calls.arrived(), 1);
    EXPECT_EQ(replies_.status, MODULE_STATUS_SUCCESS);
}

TEST_F(RawRequest, EndsSilentlyWithItsReplyFunctionOrItsHandle) {
    for (const bool byHandle : {false, true}) {
        received_ = {};
        BusMessage request;
        {
            RawHandle handle;
            request = send(handle);
            if (!byHandle) {
                EXPECT_EQ(bus->releaseReplyFunction(handle, Replies::count), MODULE_STATUS_SUCCESS);
                EXPECT_EQ(answerer_.reply(request, u"Ask.Response"), MODULE_STATUS_SUCCESS);
                settle();
            }
        }
        RawHandle inTheSamePlace;
        EXPECT_EQ(answerer_.reply(request, u"Ask.Response"), MODULE_STATUS_SUCCESS);
        settle();
        EXPECT_EQ(replies_.calls.arrived(), 0);
    }
}

TEST_F(RawRequest, TakesNoReplyThatTheBusDidNotIssue) {
    RawHandle handle;
    const BusMessage request = send(handle);
    // In the fields of the request that a reply copies.
    for (const size_t offset : {12u, 26u, 31u, 63u, 71u, 84u}) {
        BusMessage forged = request;
        reinterpret_cast<unsigned char*>(&forged.header)[offset] ^= 0x40;
        EXPECT_EQ(answerer_.reply(forged, u"Ask.Response"), MODULE_STATUS_NOT_FOUND) << offset;
    }
    EXPECT_EQ(replies_.calls.arrived(), 0);
    EXPECT_EQ(answerer_.reply(request, u"Ask.Response"), MODULE_STATUS_SUCCESS);
    EXPECT_TRUE(replies_.calls.waitForArrivals(1));
}

}  // namespace
