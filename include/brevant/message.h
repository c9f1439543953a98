/*
 * The fixed header that travels with every bus message. It belongs to who passes it; who receives it copies
 * what it keeps.
 */
#ifndef BREVANT_MESSAGE_H
#define BREVANT_MESSAGE_H

#include <string.h>

#include <brevant/conventions.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Bits of MessageHeader.flags. Other bits are carried as received. */
enum {
    BREVANT_MESSAGE_REPLY = 1u << 0,              /* answers a request */
    BREVANT_MESSAGE_REPLY_REQUESTED = 1u << 1,    /* the sender waits for a correlated reply */
    BREVANT_MESSAGE_NO_BROADCAST_COPY = 1u << 3,  /* a reply that must reach its requester alone */
    BREVANT_MESSAGE_BROADCAST_COPY_MADE = 1u << 4 /* the plain copy of a reply has been published */
};

#define BREVANT_MESSAGE_VERSION ((uint16_t)2)
#define BREVANT_MESSAGE_EXTENSION_TAG ((uint16_t)11)
#define BREVANT_MESSAGE_EXTENSION_LENGTH ((uint16_t)8)
/* Size of the older layout, version 1, which ends before the extension. */
#define BREVANT_MESSAGE_V1_SIZE ((size_t)100)

#pragma pack(push, 1)
/*
 * 108 bytes, little-endian, without padding: copied byte for byte between the bus library and its clients.
 * A receiver accepts version 1 (the first 100 bytes) as well; it sends version 2 only.
 * The opaque fields belong to the bus library: it fills the request fields, and a reply carries them back.
 */
typedef struct MessageHeader {
    uint16_t headerKind; /* 1; not interpreted by the broker */
    uint32_t totalSize;  /* bytes of header, name, sender and payload, each text with its terminating zero */
    uint32_t flags;      /* the bits above */
    uint16_t version;    /* 2; 1 for the older layout */
    uint8_t requestIdentity[24];  /* opaque, on requests */
    uint8_t inReplyTo[24];        /* on replies: the request's requestIdentity */
    uint8_t replyRoute[12];       /* opaque, on requests */
    uint8_t replyDestination[12]; /* on replies: the request's replyRoute */
    uint64_t requestCookie;       /* opaque, on requests */
    uint64_t replyCookie;         /* on replies: the request's requestCookie; 0 in a broadcast copy */
    uint16_t extensionTag;        /* 11; from here on in version 2 only */
    uint16_t extensionLength;     /* 8: bytes of the extension, this and the tag included */
    uint32_t sessionId;           /* user session that the message belongs to; 0 for none */
} MessageHeader;
#pragma pack(pop)

BREVANT_STATIC_ASSERT(sizeof(MessageHeader) == 108, "MessageHeader is 108 bytes");
BREVANT_STATIC_ASSERT(offsetof(MessageHeader, totalSize) == 2, "totalSize at 2");
BREVANT_STATIC_ASSERT(offsetof(MessageHeader, flags) == 6, "flags at 6");
BREVANT_STATIC_ASSERT(offsetof(MessageHeader, version) == 10, "version at 10");
BREVANT_STATIC_ASSERT(offsetof(MessageHeader, requestIdentity) == 12, "requestIdentity at 12");
BREVANT_STATIC_ASSERT(offsetof(MessageHeader, inReplyTo) == 36, "inReplyTo at 36");
BREVANT_STATIC_ASSERT(offsetof(MessageHeader, replyRoute) == 60, "replyRoute at 60");
BREVANT_STATIC_ASSERT(offsetof(MessageHeader, replyDestination) == 72, "replyDestination at 72");
BREVANT_STATIC_ASSERT(offsetof(MessageHeader, requestCookie) == 84, "requestCookie at 84");
BREVANT_STATIC_ASSERT(offsetof(MessageHeader, replyCookie) == 92, "replyCookie at 92");
BREVANT_STATIC_ASSERT(offsetof(MessageHeader, extensionTag) == 100, "extensionTag at 100");
BREVANT_STATIC_ASSERT(offsetof(MessageHeader, extensionLength) == 102, "extensionLength at 102");
BREVANT_STATIC_ASSERT(offsetof(MessageHeader, sessionId) == 104, "sessionId at 104");

/* The header that a new message starts with; totalSize is still to be set. [any thread & any state] */
static inline MessageHeader brevantDefaultHeader(void) {
    MessageHeader header;
    memset(&header, 0, sizeof header);
    header.headerKind = 1;
    header.version = BREVANT_MESSAGE_VERSION;
    header.extensionTag = BREVANT_MESSAGE_EXTENSION_TAG;
    header.extensionLength = BREVANT_MESSAGE_EXTENSION_LENGTH;
    return header;
}

/*
 * A received header of either version: what version 1 lacks is as in the default header, all else, the
 * version itself too, as received. Reads no further than the header goes. [any thread & any state]
 */
static inline MessageHeader brevantReadHeader(const MessageHeader* received) {
    MessageHeader header = brevantDefaultHeader();
    const unsigned char* bytes = (const unsigned char*)received;
    uint16_t version;
    memcpy(&version, bytes + offsetof(MessageHeader, version), sizeof version);
    memcpy(&header, bytes, version == BREVANT_MESSAGE_VERSION ? sizeof header : BREVANT_MESSAGE_V1_SIZE);
    return header;
}

/* Marks a header as that of a reply to the request, and has it find the requester. [any thread & any state]
 */
static inline void brevantCorrelateReply(MessageHeader* reply, const MessageHeader* request) {
    reply->flags |= BREVANT_MESSAGE_REPLY;
    memcpy(reply->inReplyTo, request->requestIdentity, sizeof reply->inReplyTo);
    memcpy(reply->replyDestination, request->replyRoute, sizeof reply->replyDestination);
    reply->replyCookie = request->requestCookie;
}

#ifdef __cplusplus
}
#endif

#endif
