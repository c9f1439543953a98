/*
 * The function table of a message bus library, for who writes one.
 *
 * A bus library ("MessageBus.dll") exports CreateObject, ReleaseObject, GetVersionNum and GetVersionStr
 * (library.h). CreateObject(BREVANT_BUS_VERSION) returns the table below, or null when the library does not
 * offer that version. A host may hand over a handle and a table of its own besides (InitializeModuleV2 in
 * module.h); the bus library must be there all the same, for NewModule opens connections through it.
 *
 * What the broker guarantees to the bus:
 *  - The broker releases every handle that it acquired. Before that it unsubscribes every subscription of the
 *    handle and calls releaseReplyFunction once.
 *  - The broker bears late callbacks: one that comes after unsubscribe finds nothing and returns success. The
 *    bus need not wait for running callbacks in unsubscribe.
 *  - The broker releases no handle while it holds a lock that a callback of that handle takes. The bus may
 *    wait for the handle's callbacks in releaseHandle.
 *  - The broker's callbacks may run on any number of threads at once, and from inside publish or request.
 *  - The broker's callbacks may publish, request, subscribe and acquire handles. A callback may block until
 *    a request of its own is answered; the bus must go on delivering meanwhile.
 *
 * What the broker expects of the bus:
 *  - The bus delivers the messages of one publisher to one subscription in the order of publishing.
 *  - The bus ends each request that it has accepted (request returned 0) by one call of the reply function:
 *
 *      what comes first                                    | the call's replyStatus
 *      the reply                                           | 0
 *      the timeout                                         | MODULE_STATUS_TIMEOUT
 *      the bus finds that no reply can come                | another failure
 *      releaseReplyFunction or releaseHandle               | there is no call
 *
 *    What comes later is dropped. A request that was not accepted gets no call.
 *  - Once releaseHandle has returned, the bus makes no call for that handle:
 *
 *      releaseHandle is called            | calls of the handle that have begun or are about to
 *      outside callbacks of the bus       | have returned when it returns
 *      inside a callback of the bus       | may still run when it returns; it does not wait
 *
 *    Calls that were left running so are waited for by a later releaseHandle outside callbacks, when the
 *    handle that it releases was used with the same message or reply function. So whoever releases its last
 *    handle outside callbacks can unload itself afterwards. A bus that cannot promise this keeps the
 *    libraries of its callers loaded until its calls have returned.
 */
#ifndef BREVANT_BUS_H
#define BREVANT_BUS_H

#include <brevant/message.h>
#include <brevant/status.h>

#ifdef __cplusplus
extern "C" {
#endif

#define BREVANT_BUS_VERSION 2001000u

/* A connection to the bus. */
typedef void* BrevantBusHandle;

/*
 * Delivers one message. The bus passes back the context of the subscription; the status that comes back is
 * the receiver's own (0x8000000F when its callback threw).
 * [any thread & subscribed]
 */
typedef uint32_t (*BrevantMessageFunction)(void* context, const MessageHeader* header, const char16_t* name,
                                           const char16_t* sender, const char16_t* payload);

/*
 * Ends one request. context and replyIndex are those of the request. With replyStatus 0 the header and the
 * texts are the reply; otherwise they are not read and may be null.
 * [any thread & requested]
 */
typedef uint32_t (*BrevantReplyFunction)(void* context, uint64_t replyIndex, const MessageHeader* header,
                                         const char16_t* name, const char16_t* sender,
                                         const char16_t* payload, uint32_t replyStatus);

typedef struct BrevantBusFunctions {
    /* Opens a connection; *handle is set on success only. [any thread & loaded] */
    uint32_t (*acquireHandle)(BrevantBusHandle* handle);

    /* Closes a connection; it must not be used afterwards. [any thread & acquired] */
    uint32_t (*releaseHandle)(BrevantBusHandle handle);

    /*
     * Delivers a message to every matching subscription of every handle or, when its flags have
     * BREVANT_MESSAGE_REPLY, to the requester that its correlation fields name. Header and texts are copied
     * before the call returns.
     * [any thread & acquired]
     */
    uint32_t (*publish)(BrevantBusHandle handle, const MessageHeader* header, const char16_t* name,
                        const char16_t* sender, const char16_t* payload);

    /*
     * Publishes a message that asks for a reply. The bus sets BREVANT_MESSAGE_REPLY_REQUESTED and the opaque
     * request fields in what it delivers. MODULE_STATUS_NO_SUBSCRIBERS when nobody subscribes to the name.
     * [any thread & acquired]
     */
    uint32_t (*request)(BrevantBusHandle handle, uint64_t replyIndex, void* replyContext,
                        BrevantReplyFunction replyFunction, const MessageHeader* header, const char16_t* name,
                        const char16_t* sender, const char16_t* payload, uint32_t timeoutMilliseconds);

    /*
     * Subscribes to one name, compared exactly. Returns the subscription's id, never 0; 0 is failure.
     * [any thread & acquired]
     */
    uint32_t (*subscribe)(BrevantBusHandle handle, void* messageContext,
                          BrevantMessageFunction messageFunction, const char16_t* name);

    /*
     * Subscribes to every name that an ECMAScript regular expression matches as a whole. Returns as
     * subscribe. [any thread & acquired]
     */
    uint32_t (*subscribePattern)(BrevantBusHandle handle, void* messageContext,
                                 BrevantMessageFunction messageFunction, const char16_t* pattern);

    /* Ends a subscription. Does not wait for callbacks that are running. [any thread & acquired] */
    uint32_t (*unsubscribe)(BrevantBusHandle handle, uint32_t subscriptionId);

    /* Ends every request of the handle that still waits to call replyFunction. [any thread & acquired] */
    uint32_t (*releaseReplyFunction)(BrevantBusHandle handle, BrevantReplyFunction replyFunction);

    /* Alternate form of publish; what differs is the bus library's own. [any thread & acquired] */
    uint32_t (*publishAlternate)(BrevantBusHandle handle, const MessageHeader* header, const char16_t* name,
                                 const char16_t* sender, const char16_t* payload);

    /* Alternate form of request; what differs is the bus library's own. [any thread & acquired] */
    uint32_t (*requestAlternate)(BrevantBusHandle handle, uint64_t replyIndex, void* replyContext,
                                 BrevantReplyFunction replyFunction, const MessageHeader* header,
                                 const char16_t* name, const char16_t* sender, const char16_t* payload,
                                 uint32_t timeoutMilliseconds);
} BrevantBusFunctions;

BREVANT_STATIC_ASSERT(sizeof(BrevantBusFunctions) == 10 * sizeof(void*), "the bus table has ten entries");
BREVANT_STATIC_ASSERT(offsetof(BrevantBusFunctions, subscribe) == 4 * sizeof(void*), "subscribe is entry 4");
BREVANT_STATIC_ASSERT(offsetof(BrevantBusFunctions, requestAlternate) == 9 * sizeof(void*),
                      "requestAlternate is entry 9");

#ifdef __cplusplus
}
#endif

#endif
