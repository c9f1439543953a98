/*
 * The event sink, for who collects the broker's telemetry: an in-process component with class id
 * {3F9A6C12-5B8E-4D07-A1C4-7E2B90D3F658}. The library that holds it exports DllGetClassObject and is
 * registered under HKEY_LOCAL_MACHINE\SOFTWARE\Classes\CLSID\{class id}\InprocServer32 (default value: its
 * full path). On Windows it is an ordinary COM class; elsewhere the same binary convention is used.
 *
 * The broker creates the component twice for each event, once to see whether that can be done and once to
 * send: it calls SubmitEvent and releases the component, on whatever thread the event arose; it keeps no
 * reference. Any number of threads may be in SubmitEvent, one at a time sees whether it can be done. What the
 * component throws, from its factory too, only loses the event. An event that arises inside the component's
 * creation, on the same thread, is dropped: a sink that publishes there would have itself created without
 * end.
 */
#ifndef BREVANT_EVENT_SINK_H
#define BREVANT_EVENT_SINK_H

#include <brevant/conventions.h>

#ifdef __cplusplus
extern "C" {
#endif

#define BREVANT_EVENT_SINK_CLASS_ID_TEXT "{3F9A6C12-5B8E-4D07-A1C4-7E2B90D3F658}"
#define BREVANT_EVENT_SINK_INTERFACE_ID_TEXT "{B4D17E29-0C6A-4F83-9E5D-1A7C3B8F2E64}"

/* 16-byte identifier in the layout of a GUID: a number of 32, two of 16 bits, eight bytes. */
typedef struct BrevantGuid {
    uint32_t data1;
    uint16_t data2;
    uint16_t data3;
    uint8_t data4[8];
} BrevantGuid;

BREVANT_STATIC_ASSERT(sizeof(BrevantGuid) == 16, "BrevantGuid is 16 bytes");

/* Result of a component call: below zero is failure. */
typedef int32_t BrevantResult;

/*
 * Text of a component call: UTF-16 with a terminating zero, its length in bytes in the 32 bits before the
 * first character. It may hold zeros.
 */
typedef char16_t* BrevantComponentText;

typedef struct ILegacyEventSink ILegacyEventSink;

typedef struct ILegacyEventSinkFunctions {
    BrevantResult (*QueryInterface)(ILegacyEventSink* self, const BrevantGuid* interfaceId, void** object);
    uint32_t (*AddRef)(ILegacyEventSink* self);
    uint32_t (*Release)(ILegacyEventSink* self);
    /*
     * Takes one event: json is one flat object whose members are all texts. before and after are empty texts.
     * All three belong to the caller and are valid during the call. [any thread & created]
     */
    BrevantResult (*SubmitEvent)(ILegacyEventSink* self, BrevantComponentText before,
                                 BrevantComponentText json, BrevantComponentText after);
} ILegacyEventSinkFunctions;

/* The component's object begins with the pointer to its functions. */
struct ILegacyEventSink {
    const ILegacyEventSinkFunctions* functions;
};

BREVANT_STATIC_ASSERT(sizeof(ILegacyEventSinkFunctions) == 4 * sizeof(void*),
                      "the sink table has four entries");

#ifdef __cplusplus
}
#endif

#endif
