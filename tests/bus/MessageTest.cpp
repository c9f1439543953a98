#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <string>

#include "bus/Message.h"

namespace {

using Bytes = std::string;

Bytes bytesOf(const MessageHeader& header) {
    return Bytes(reinterpret_cast<const char*>(&header), sizeof header);
}

// A header whose opaque bytes all differ.
MessageHeader numberedHeader(uint16_t version) {
    MessageHeader header;
    auto* bytes = reinterpret_cast<unsigned char*>(&header);
    for (size_t i = 0; i < sizeof header; ++i)
        bytes[i] = static_cast<unsigned char>(i + 1);
    header.version = version;
    return header;
}

TEST(MessageTest, StartsWithTheDefaultHeaderAndItsOwnSize) {
    const auto message = Tavix::makeMessage(u"A", u"B", u"");
    Bytes expected(108, '\0');
    expected[0] = 1;     // kind
    expected[2] = 118;   // size: header, three zeros, two units
    expected[10] = 2;    // version
    expected[100] = 11;  // extension tag
    expected[102] = 8;   // and length
    EXPECT_EQ(bytesOf(*message->header()), expected);

    const auto longer = Tavix::makeMessage(u"name", u"sender", std::u16string(100'000, u'p'));
    EXPECT_EQ(+longer->header()->totalSize, 114u + 2 * 100'010);
}

TEST(MessageTest, TakesACurrentHeaderOverByteForByte) {
    const auto message = Tavix::makeMessage(u"A", u"B", u"");
    const MessageHeader received = numberedHeader(2);
    Tavix::copyHeader(*message, &received);
    EXPECT_EQ(bytesOf(*message->header()), bytesOf(received));
    EXPECT_EQ(Tavix::messageExtension(*message->header())->sessionId, received.sessionId);

    // Without a header the default one comes back.
    Tavix::copyHeader(*message, nullptr);
    EXPECT_EQ(bytesOf(*message->header()), bytesOf(*Tavix::makeMessage(u"A", u"B", u"")->header()));
}

TEST(MessageTest, BringsAnOlderHeaderToTheCurrentVersionWithoutReadingBeyondIt) {
    for (const uint16_t version : {1, 0, 3}) {
        const MessageHeader numbered = numberedHeader(version);
        // Exactly as long as the older layout: a read beyond shows under the address sanitizer.
        const auto received = std::make_unique<unsigned char[]>(BREVANT_MESSAGE_V1_SIZE);
        std::memcpy(received.get(), &numbered, BREVANT_MESSAGE_V1_SIZE);

        const auto message = Tavix::makeMessage(u"A", u"B", u"");
        Tavix::copyHeader(*message, reinterpret_cast<const MessageHeader*>(received.get()));

        MessageHeader expected = numbered;
        expected.totalSize += 8;
        expected.version = 2;
        expected.extensionTag = 11;
        expected.extensionLength = 8;
        expected.sessionId = 0;
        EXPECT_EQ(bytesOf(*message->header()), bytesOf(expected));
    }
}

TEST(MessageTest, CorrelatesAReplyWithARequestThatAskedForOne) {
    const auto request = Tavix::makeMessage(u"Q", u"s", u"");
    *request->header() = numberedHeader(2);
    request->header()->flags = BREVANT_MESSAGE_REPLY_REQUESTED;
    const auto reply = Tavix::makeReply(*request, u"Q.Response", u"me", u"p");
    EXPECT_EQ(reply->name(), u"Q.Response");

    const Bytes asked = bytesOf(*request->header());
    Bytes expected = bytesOf(*Tavix::makeMessage(u"Q.Response", u"me", u"p")->header());
    expected[6] = 1;
    expected.replace(36, 24, asked, 12, 24);
    expected.replace(72, 12, asked, 60, 12);
    expected.replace(92, 8, asked, 84, 8);
    EXPECT_EQ(bytesOf(*reply->header()), expected);

    request->header()->flags = ~static_cast<uint32_t>(BREVANT_MESSAGE_REPLY_REQUESTED);
    const auto plain = Tavix::makeReply(*request, u"Q.Response", u"me", u"p");
    EXPECT_EQ(bytesOf(*plain->header()), bytesOf(*Tavix::makeMessage(u"Q.Response", u"me", u"p")->header()));
}

}  // namespace
