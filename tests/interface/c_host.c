/*
 * A host written in C against include/brevant alone: it loads the module, hands it a bus table of its own
 * making, plays product, viewer and settings manager, and sees an alert travel its whole road.
 *
 * By hand, after a build:
 *   cc -Iinclude -Itests/interface -DMODULE_FILE='"libbrevant.so"' tests/interface/c_host.c \
 *      tests/interface/linux/Loader.c -pthread -ldl -o build/linux/bin/c_host
 *   BREVANT_PLATFORM_DIR=/tmp/c_host build/linux/bin/c_host
 */
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <brevant/alerts.h>
#include <brevant/event_sink.h>
#include <brevant/module.h>
#include <brevant/plugin.h>
#include <brevant/settings.h>

#include "interface/Loader.h"

#ifndef KEEPS_LIBRARY
#define KEEPS_LIBRARY 0 /* sanitizers keep what was loaded */
#endif

static int failures;

static void check(int condition, const char* what) {
    if (!condition) {
        ++failures;
        fprintf(stderr, "FAILED: %s\n", what);
    }
}

static int same(const char16_t* one, const char16_t* other) {
    while (*one && *one == *other)
        ++one, ++other;
    return *one == *other;
}

/* --- a bus table of the host's own, which leads to the bus beside the program and counts its calls ----- */

static const BrevantBusFunctions* bus;
static int hostPublishes;
static int hostSubscriptions;
static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
static pthread_cond_t changed = PTHREAD_COND_INITIALIZER;

static uint32_t hostPublish(BrevantBusHandle handle, const MessageHeader* header, const char16_t* name,
                            const char16_t* sender, const char16_t* payload) {
    pthread_mutex_lock(&mutex);
    ++hostPublishes;
    pthread_mutex_unlock(&mutex);
    return bus->publish(handle, header, name, sender, payload);
}

static uint32_t hostSubscribePattern(BrevantBusHandle handle, void* context, BrevantMessageFunction function,
                                     const char16_t* pattern) {
    pthread_mutex_lock(&mutex);
    ++hostSubscriptions;
    pthread_mutex_unlock(&mutex);
    return bus->subscribePattern(handle, context, function, pattern);
}

static uint32_t hostUnsubscribe(BrevantBusHandle handle, uint32_t id) {
    pthread_mutex_lock(&mutex);
    --hostSubscriptions;
    pthread_mutex_unlock(&mutex);
    return bus->unsubscribe(handle, id);
}

/* --- what the host sees and says ------------------------------------------------------------------------ */

static BrevantBusHandle peer;
static char16_t seen[64][100];
static int seenCount;

static uint32_t say(const char16_t* name, const char16_t* payload) {
    const MessageHeader header = brevantDefaultHeader();
    return bus->publish(peer, &header, name, u"CHost", payload);
}

static uint32_t answer(const MessageHeader* request, const char16_t* name, const char16_t* payload) {
    MessageHeader header = brevantDefaultHeader();
    brevantCorrelateReply(&header, request);
    return bus->publish(peer, &header, name, u"CHost", payload);
}

static uint32_t onAnything(void* context, const MessageHeader* header, const char16_t* name,
                           const char16_t* sender, const char16_t* payload) {
    int i;
    (void)context, (void)header, (void)sender, (void)payload;
    pthread_mutex_lock(&mutex);
    if (seenCount < 64) {
        for (i = 0; i < 99 && name[i]; ++i)
            seen[seenCount][i] = name[i];
        ++seenCount;
    }
    pthread_cond_broadcast(&changed);
    pthread_mutex_unlock(&mutex);
    return MODULE_STATUS_SUCCESS;
}

/* The viewers are asked for by their prefix, the product's plugin by its name. */
static uint32_t onSettings(void* context, const MessageHeader* header, const char16_t* name,
                           const char16_t* sender, const char16_t* payload) {
    (void)context, (void)sender, (void)payload;
    if (same(name, BREVANT_SETTINGS_GET_BATCH))
        return answer(
            header, BREVANT_SETTINGS_GET_BATCH u".Response",
            u"{\"responses\":[{\"name\":\"" BREVANT_VIEWER_KEY u"/c\",\"status\":true,\"value\":\"\"}]}");
    return answer(header, BREVANT_SETTINGS_GET u".Response",
                  u"{\"name\":\"" BREVANT_PRODUCT_KEY u"/p\",\"status\":true,\"value\":\"{\\\"pluginFile\\\":"
                  u"\\\"RoadPlugin.dll\\\",\\\"pluginPath\\\":\\\"$(App.Folder)\\\"}\"}");
}

static uint32_t onViewerShow(void* context, const MessageHeader* header, const char16_t* name,
                             const char16_t* sender, const char16_t* payload) {
    (void)context, (void)name, (void)sender, (void)payload;
    return answer(header, BREVANT_ALERT_PREFIX u"c-alert" BREVANT_ALERT_SHOWN u"1", u"");
}

static void waitForSeen(const char16_t* name, const char* what) {
    int i, found = 0;
    struct timespec deadline;
    deadline.tv_sec = time(NULL) + 20;
    deadline.tv_nsec = 0;
    pthread_mutex_lock(&mutex);
    do {
        for (i = 0; i < seenCount; ++i)
            found |= same(seen[i], name);
    } while (!found && pthread_cond_timedwait(&changed, &mutex, &deadline) == 0);
    pthread_mutex_unlock(&mutex);
    check(found, what);
}

static uint32_t moduleManager(void* context, void* argument, uint32_t reserved) {
    (void)context, (void)argument, (void)reserved;
    return MODULE_STATUS_SUCCESS;
}

int main(int count, char** arguments) {
    static const char16_t description[] =
        u"{\"" BREVANT_DESCRIPTION_ID u"\":\"c-alert\",\"" BREVANT_DESCRIPTION_INSTANCE_ID u"\":\"1\",\"priority\":\"P1\",\"product\":\"p\","
        u"\"source\":\"client\",\"forcePreferredViewer\":false,\"preferredViewer\":[\"c\"],\"context\":{"
        u"\"title\":\"From C\"}}";
    void *module, *busLibrary;
    BrevantModuleCreateObject createModule;
    BrevantCreateObject createBus;
    const BrevantModuleFunctions* functions;
    BrevantBusFunctions table;
    BrevantBusHandle moduleBus = NULL;
    ModuleHandle* handle = NULL;
    const char16_t* keys[] = {u"Edition", u"Edition"};
    const char16_t* values[] = {u"first", u"second"};
    uint32_t ids[4];
    (void)count;

    module = openBeside(arguments[0], MODULE_FILE);
    busLibrary = openBeside(arguments[0], "MessageBus.dll");
    if (!module || !busLibrary) {
        fprintf(stderr, "the libraries beside the program cannot be loaded\n");
        return 1;
    }
    createModule = (BrevantModuleCreateObject)(uintptr_t)findFunction(module, BREVANT_EXPORT_CREATE_OBJECT);
    createBus = (BrevantCreateObject)(uintptr_t)findFunction(busLibrary, BREVANT_EXPORT_CREATE_OBJECT);
    check(((BrevantGetVersionNum)(uintptr_t)findFunction(module, BREVANT_EXPORT_GET_VERSION_NUM))() ==
              BREVANT_VERSION_NUMBER,
          "the version number is that of the header");
    check(strcmp(((BrevantGetVersionStr)(uintptr_t)findFunction(module, BREVANT_EXPORT_GET_VERSION_STR))(),
                 BREVANT_VERSION_TEXT) == 0,
          "the version text is that of the header");
    bus = (const BrevantBusFunctions*)createBus(BREVANT_BUS_VERSION);
    functions = createModule();
    check(functions == createModule(), "the table is the same each time");
    table = *bus;
    table.publish = hostPublish;
    table.subscribePattern = hostSubscribePattern;
    table.unsubscribe = hostUnsubscribe;

    check(bus->acquireHandle(&peer) == 0 && bus->acquireHandle(&moduleBus) == 0, "the bus gives handles");
    ids[0] = bus->subscribePattern(peer, NULL, onAnything, u"Brevant\\..+");
    ids[1] = bus->subscribe(peer, NULL, onSettings, BREVANT_SETTINGS_GET_BATCH);
    ids[2] = bus->subscribe(peer, NULL, onSettings, BREVANT_SETTINGS_GET);
    ids[3] =
        bus->subscribePattern(peer, NULL, onViewerShow, BREVANT_VIEWER_PREFIX u"c" BREVANT_VIEWER_SHOW u".+");

    check(functions->StartModule(NULL) == MODULE_STATUS_INVALID_PARAMETER, "a null handle is refused");
    check(functions->NewModule(NULL, NULL) == MODULE_STATUS_INVALID_PARAMETER,
          "a null out-pointer is refused");
    check(functions->NewModule(&handle, u"CHost") == 0, "NewModule");
    check(functions->InitializeModuleV2(handle, u"Brevant", u"c-host", 2, keys, values, NULL, moduleManager,
                                        moduleBus, &table) == 0,
          "InitializeModuleV2");
    check(hostSubscriptions == 4, "the module subscribes through the host's table");
    check(functions->StartModule(handle) == 0, "StartModule");
    waitForSeen(BREVANT_VIEWER_PREFIX u"c" BREVANT_VIEWER_REGISTERED,
                "the viewer of the settings is announced");

    check(say(BREVANT_ALERT_GET_ID, u"") == 0, "an id is asked for");
    waitForSeen(BREVANT_ALERT_GET_ID_RESPONSE, "an id is handed out");
    check(say(BREVANT_ALERT_SHOW u"1", description) == 0, "an alert is published");
    waitForSeen(BREVANT_ALERT_PREFIX u"c-alert" BREVANT_ALERT_QUEUED u"1", "the alert is queued");
    waitForSeen(BREVANT_VIEWER_PREFIX u"c" BREVANT_VIEWER_SHOW u"1", "the viewer is asked to show it");
    check(say(BREVANT_ALERT_PREFIX u"c-alert" BREVANT_ALERT_DISMISSED u"1", u"") == 0,
          "the viewer reports the outcome");
    {
        const MessageHeader header = brevantDefaultHeader();
        check(functions->DirectMessage(handle, &header, BREVANT_ALERT_DELETE u"0", u"CHost", u"") == 0,
              "a direct message is handled");
    }
    waitForSeen(BREVANT_ALERT_PREFIX BREVANT_ALERT_NOT_FOUND u"0",
                "a delete request for an alert that is gone is answered");
    check(hostPublishes > 0, "the module publishes through the host's table");

    check(functions->StopModule(handle) == 0, "StopModule");
    check(functions->UninitializeModule(handle) == 0, "UninitializeModule");
    check(hostSubscriptions == 0, "the module removes its subscriptions");
    check(functions->DestroyModule(handle) == 0, "DestroyModule");
    for (count = 0; count < 4; ++count)
        bus->unsubscribe(peer, ids[count]);
    bus->releaseHandle(moduleBus);
    bus->releaseHandle(peer);
    closeLibrary(module);
    check(isLoaded(arguments[0], MODULE_FILE) == KEEPS_LIBRARY, "the library leaves the process");
    closeLibrary(busLibrary);
    if (failures == 0)
        puts("the whole road was seen");
    return failures != 0;
}
