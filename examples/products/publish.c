/*
 * A product in C on the bus table: publishes one alert and tells what becomes of it.
 *
 *   example_product FILE
 *
 * Exit codes: 0 chosen, 10 dismissed or timed out, 12 suppressed, 13 failed, 14 withdrawn, 15 lost with its
 * host, 2 the file makes no sense, 3 no host, 1 anything else.
 */
#define _POSIX_C_SOURCE 200809L

#include <brevant/alerts.h>

#include "../c/session.h"

static char16_t* readAll(const char* path) {
    FILE* const file = fopen(path, "rb");
    char* bytes = NULL;
    size_t size = 0, count = 1;
    char16_t* text;
    if (!file)
        return NULL;
    while (count > 0) {
        bytes = (char*)realloc(bytes, size + 65536);
        if (!bytes)
            abort();
        count = fread(bytes + size, 1, 65536, file);
        size += count;
    }
    fclose(file);
    text = from8(bytes, size);
    free(bytes);
    return text;
}

static void subscribeTo(Session* session, char16_t* name) {
    session->bus->subscribe(session->handle, &session->messages, onMessage, name);
    free(name);
}

/* Everything that may become of it, before it is published. A choice's message has any name. */
static void subscribeAll(Session* session, const char16_t* description, const char16_t* id,
                         const char16_t* instance) {
    const char16_t* const actions = member(member(description, BREVANT_DESCRIPTION_CONTEXT), u"actions");
    const char16_t* action;
    size_t index;
    subscribeTo(session, JOINED(BREVANT_ALERT_PREFIX, id, BREVANT_ALERT_DISMISSED, instance));
    subscribeTo(session, JOINED(BREVANT_ALERT_PREFIX, id, BREVANT_ALERT_FAILED, instance));
    subscribeTo(session, JOINED(BREVANT_ALERT_PREFIX, BREVANT_ALERT_DELETED, instance));
    for (index = 0; (action = element(actions, index)) != NULL; ++index)
        subscribeTo(session, textOf(member(member(action, u"defaultmessage"), u"messagename")));
}

static int hasWord(const char16_t* name, const char16_t* word) {
    for (; *name; ++name)
        if (begins16(name, word))
            return 1;
    return 0;
}

/* Other alerts may use the same name with other payloads. */
static int isChoice(const char16_t* description, const Letter* letter) {
    const char16_t* const actions = member(member(description, BREVANT_DESCRIPTION_CONTEXT), u"actions");
    const char16_t* action;
    size_t index;
    int found = 0;
    for (index = 0; !found && (action = element(actions, index)) != NULL; ++index) {
        char16_t* const name = textOf(member(member(action, u"defaultmessage"), u"messagename"));
        char16_t* const payload = textOf(member(member(action, u"defaultmessage"), u"payload"));
        found = same16(name, letter->name) && same16(payload, letter->payload);
        free(name);
        free(payload);
    }
    return found;
}

/* What tells one life of the host from the next; null when it does not answer. To be freed. */
static char16_t* hostStart(Session* session) {
    Letter* const status = ask(session, u"Brevant.Host.Status", u"", 5000);
    char16_t* const start =
        status->status == MODULE_STATUS_SUCCESS ? textOf(member(status->payload, u"start")) : NULL;
    freeLetter(status);
    return start;
}

/* The next host knows nothing of the last one's alerts. */
static int isLost(Session* session, const char16_t* host, int* toldOfAbsence) {
    char16_t* const start = hostStart(session);
    const int lost = host && start && !same16(host, start);
    if (!start && !*toldOfAbsence)
        fprintf(stderr, "the host does not answer; waiting for it\n");
    *toldOfAbsence = !start;
    free(start);
    return lost;
}

/* The choice's message comes before the outcome. */
static int follow(Session* session, const char16_t* description, const char16_t* host) {
    Letter* chosen = NULL;
    int toldOfAbsence = 0;
    for (;;) {
        Letter* const letter = takeOut(&session->messages, 2000);
        int code;
        if (!letter && isLost(session, host, &toldOfAbsence)) {
            printf("lost with its host\n");
            freeLetter(chosen);
            return 15;
        }
        if (!letter)
            continue;
        if (!begins16(letter->name, BREVANT_ALERT_PREFIX)) {
            if (!chosen && isChoice(description, letter))
                chosen = letter;
            else
                freeLetter(letter);
            continue;
        }
        code = hasWord(letter->name, BREVANT_ALERT_FAILED)    ? 13
               : hasWord(letter->name, BREVANT_ALERT_DELETED) ? 14
               : chosen                                       ? 0
                                                              : 10;
        if (code == 0) {
            printf("chosen: ");
            print16(stdout, chosen->name);
            printf(" ");
            print16(stdout, chosen->payload);
            printf("\n");
        } else {
            print16(stdout, letter->name);
            printf("\n");
        }
        freeLetter(letter);
        freeLetter(chosen);
        return code;
    }
}

static int publish(Session* session, const char16_t* description, const char16_t* id) {
    Letter* const number = ask(session, BREVANT_ALERT_GET_ID, u"", 5000);
    char16_t *name, *payload, *product, *host;
    Letter* reply;
    int code = 1;
    if (number->status != MODULE_STATUS_SUCCESS) {
        fprintf(stderr, "no host answers\n");
        freeLetter(number);
        return 3;
    }
    host = hostStart(session);
    /* A host with an example plugin lets it serve products without one; others do not answer. */
    product = textOf(member(description, BREVANT_DESCRIPTION_PRODUCT));
    freeLetter(ask(session, u"Brevant.Host.StandIn", product, 5000));
    subscribeAll(session, description, id, number->payload);
    name = JOINED(BREVANT_ALERT_SHOW, number->payload);
    payload = JOINED(u"{\"instanceId\":\"", number->payload, u"\",", skipBlanks(description) + 1);
    reply = ask(session, name, payload, 100000);
    if (reply->status != MODULE_STATUS_SUCCESS) {
        fprintf(stderr, "the broker refuses it: 0x%08X\n", (unsigned)reply->status);
    } else if (hasWord(reply->name, BREVANT_ALERT_SUPPRESSED)) {
        printf("suppressed\n");
        code = 12;
    } else {
        code = follow(session, description, host);
    }
    freeLetter(reply);
    freeLetter(number);
    free(name);
    free(payload);
    free(product);
    free(host);
    return code;
}

int main(int count, char** arguments) {
    Session session;
    char16_t *description = count == 2 ? readAll(arguments[1]) : NULL, *id;
    int code = 1;
    if (count != 2) {
        fprintf(stderr, "usage: %s FILE\n", arguments[0]);
        return 2;
    }
    id = textOf(member(description, BREVANT_DESCRIPTION_ID));
    if (!*id) {
        fprintf(stderr, "%s: %s is no description of an alert\n", arguments[0], arguments[1]);
        code = 2;
    } else if (openSession(&session, arguments[0], "product", u"publish.c")) {
        code = publish(&session, description, id);
        closeSession(&session);
    } else {
        fprintf(stderr, "%s: there is no bus\n", arguments[0]);
        closeSession(&session);
    }
    free(description);
    free(id);
    return code;
}
