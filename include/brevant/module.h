/*
 * The module, for who writes a host. The library exports exactly CreateObject, ReleaseObject, GetVersionNum
 * and GetVersionStr; CreateObject returns the module function table.
 *
 * Life of a module:
 *
 *   NewModule -> created -> InitializeModule or InitializeModuleV2 -> initialised -> StartModule -> started
 *   -> StopModule -> stopped -> UninitializeModule -> uninitialised -> DestroyModule -> gone
 *
 * The functions do not enforce this order; a host that leaves it out of account gets what each function does
 * on its own. Every function but NewModule answers a null handle with MODULE_STATUS_INVALID_PARAMETER, and
 * every one anything unforeseen with MODULE_STATUS_UNKNOWN_EXCEPTION.
 *
 * Lifecycle functions, all but DirectMessage, are called from one thread at a time, which may change between
 * calls. None may be called from inside a call that the module makes (from a bus function, a plugin or an
 * event sink that it is in), from inside DirectMessage, or from inside a callback of the bus, where nothing
 * can wait for the bus. No function may be called on a handle once DestroyModule has been, and every
 * DirectMessage must have returned before. DestroyModule waits for threads: it is not for DllMain or static
 * destructors. A process may exit with a module alive.
 *
 * Modules share their process's log and nothing else; any number may live side by side.
 */
#ifndef BREVANT_MODULE_H
#define BREVANT_MODULE_H

#include <brevant/bus.h>
#include <brevant/library.h>

#ifdef __cplusplus
extern "C" {
#endif

/* One module object. Opaque. */
typedef struct ModuleHandle ModuleHandle;

/*
 * The host's module manager: a function and a context for it. The broker keeps both and calls
 * function(context, argument, 0) for its own needs; it interprets neither. Either may be null; both stay
 * valid until DestroyModule has returned. [any thread & initialised]
 */
typedef uint32_t (*BrevantModuleManagerFunction)(void* context, void* argument, uint32_t reserved);

typedef struct BrevantModuleFunctions {
    /*
     * Creates a module; *handle is set on success only. logGroup names the subfolder of the log files; null
     * or empty leaves it unset. The group is the process's, not the module's, and fixed by the first log
     * record. MODULE_STATUS_INVALID_PARAMETER when handle is null, MODULE_STATUS_UNKNOWN_EXCEPTION when
     * "MessageBus.dll" cannot be loaded or gives no handle. [host thread & loaded]
     */
    uint32_t (*NewModule)(ModuleHandle** handle, const char16_t* logGroup);

    /*
     * Destroys the module and its handle, in any state: it stops what still runs, shows no further alert, and
     * drops queued alerts in silence. Waits for the module's callbacks that are running and for the alerts on
     * screen, of all user sessions at the same time: for the slowest of them, which takes up to its timeout
     * and 60 s, and 90 s for each request that a viewer leaves unanswered. When it has returned, the module
     * has no thread left and, if it was the last one, the library may be freed.
     * [host thread & created]
     */
    uint32_t (*DestroyModule)(ModuleHandle* handle);

    /*
     * Initialises the module with a bus that it loads itself: "MessageBus.dll", looked for in the folder of
     * the host's executable and then in the install folder. propertyKeys and propertyValues hold
     * propertyCount texts each and are not read when it is 0; of a repeated key the first value is kept.
     * All texts are copied; a null text is an empty one. Called again, it replaces all of this and the bus:
     * it waits for direct messages, may wait for callbacks of the earlier bus as DestroyModule does, and
     * leaves to DestroyModule a bus that something is still publishing through.
     * MODULE_STATUS_INVALID_PARAMETER when propertyCount is not 0 and an array is null,
     * MODULE_STATUS_UNKNOWN_EXCEPTION when the bus cannot be loaded or gives no handle.
     * [host thread & created]
     */
    uint32_t (*InitializeModule)(ModuleHandle* handle, const char16_t* moduleName,
                                 const char16_t* moduleIdentifier, uint32_t propertyCount,
                                 const char16_t* const* propertyKeys, const char16_t* const* propertyValues,
                                 void* moduleManagerContext,
                                 BrevantModuleManagerFunction moduleManagerFunction);

    /*
     * Starts following the registered viewers and plugins. Waits for the settings manager's answer, for up to
     * 6 s, and succeeds without one. It asks again for each viewer that was deleted earlier in the module's
     * life or is deleted meanwhile, until an answer fails to come. [host thread & initialised]
     */
    uint32_t (*StartModule)(ModuleHandle* handle);

    /*
     * Stops following viewers and plugins. Those known stay known, and queued alerts are shown all the same.
     * [host thread & started]
     */
    uint32_t (*StopModule)(ModuleHandle* handle);

    /* Stops answering requests. Queued alerts are shown all the same. [host thread & initialised] */
    uint32_t (*UninitializeModule)(ModuleHandle* handle);

    /*
     * Hands one message to the module as the bus would; the matching handlers run on the calling thread
     * before it returns, one DirectMessage after the other. A show or delete request takes as long as the
     * session that it is for is busy asking a viewer. header is null for a default one, or has 108 bytes, or
     * 100 when its version is 1; a null text is an empty one, an empty sender the library's own file name.
     * Not from inside a call that the module makes: it could wait for itself. What the handlers make of the
     * message is published, not returned: MODULE_STATUS_SUCCESS also when nobody handles it or the request is
     * refused. MODULE_STATUS_INVALID_STATE when the module has no bus, MODULE_STATUS_NO_MEMORY when memory is
     * short. [any thread & initialised]
     */
    uint32_t (*DirectMessage)(ModuleHandle* handle, const MessageHeader* header, const char16_t* name,
                              const char16_t* sender, const char16_t* payload);

    /*
     * As InitializeModule, over a bus of the host's: its handle and function table, both owned by the host
     * and valid until DestroyModule has returned. The module never releases that handle; the host does, and
     * before it frees the library, for until then the bus may be about to call it. Alerts, sessions and
     * registries still open connections of their own through "MessageBus.dll", so the host's table should
     * lead to the same bus. MODULE_STATUS_UNKNOWN_EXCEPTION when busHandle or busFunctions is null.
     * [host thread & created]
     */
    uint32_t (*InitializeModuleV2)(ModuleHandle* handle, const char16_t* moduleName,
                                   const char16_t* moduleIdentifier, uint32_t propertyCount,
                                   const char16_t* const* propertyKeys, const char16_t* const* propertyValues,
                                   void* moduleManagerContext,
                                   BrevantModuleManagerFunction moduleManagerFunction,
                                   BrevantBusHandle busHandle, const BrevantBusFunctions* busFunctions);
} BrevantModuleFunctions;

BREVANT_STATIC_ASSERT(sizeof(BrevantModuleFunctions) == 8 * sizeof(void*),
                      "the module table has eight entries");
BREVANT_STATIC_ASSERT(offsetof(BrevantModuleFunctions, DirectMessage) == 6 * sizeof(void*),
                      "DirectMessage is entry 6");
BREVANT_STATIC_ASSERT(offsetof(BrevantModuleFunctions, InitializeModuleV2) == 7 * sizeof(void*),
                      "InitializeModuleV2 is entry 7");

/*
 * The module's own CreateObject: returns the module function table, the same each time, never null. Takes no
 * argument; a caller that passes a version, as for the other libraries, is served alike.
 * [any thread & loaded]
 */
typedef const BrevantModuleFunctions* (*BrevantModuleCreateObject)(void);

#ifdef __cplusplus
}
#endif

#endif
