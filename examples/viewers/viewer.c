/*
 * A viewer in C on the bus table: docs/viewers.md as a program. It shows alerts on standard output, and
 * answers them as it is told.
 *
 *   example_viewer --id ID --answer dismiss|timeout|NUMBER
 *
 * Exit codes: 0 ended as asked, 1 there is no bus, 2 the command line makes no sense.
 */
#define _POSIX_C_SOURCE 200809L

#include <signal.h>

#include <brevant/alerts.h>
#include <brevant/settings.h>

#include "../c/session.h"

typedef struct Viewer {
    Session session;
    char16_t* id;
    const char* answer;
    /* The alert on screen: its description, and from that its id; null when there is none. */
    char16_t *description, *alert, *instance;
    time_t until;
    char16_t* host; /* that it is registered with; null for none */
} Viewer;

static volatile sig_atomic_t stopped;

static void onSignal(int number) {
    (void)number;
    stopped = 1;
}

static void publishAll(Viewer* viewer, const char16_t* messages) {
    const char16_t* message;
    size_t index;
    for (index = 0; (message = element(messages, index)) != NULL; ++index) {
        char16_t* const name = textOf(member(message, u"messagename"));
        char16_t* const payload = textOf(member(message, u"payload"));
        if (*name)
            say(&viewer->session, name, payload);
        free(name);
        free(payload);
    }
}

/* What the user's choice publishes comes before the outcome. */
static void endAlert(Viewer* viewer, const char16_t* word) {
    char16_t* const outcome = JOINED(BREVANT_ALERT_PREFIX, viewer->alert, word, viewer->instance);
    say(&viewer->session, outcome, u"");
    free(outcome);
    free(viewer->description);
    free(viewer->alert);
    free(viewer->instance);
    viewer->description = viewer->alert = viewer->instance = NULL;
}

static void choose(Viewer* viewer) {
    const char16_t* const context = member(viewer->description, BREVANT_DESCRIPTION_CONTEXT);
    const long number = strtol(viewer->answer, NULL, 10);
    const char16_t* const action =
        number > 0 ? element(member(context, u"actions"), (size_t)number - 1) : NULL;
    const char16_t* const message = member(action, u"defaultmessage");
    if (message) {
        char16_t* const list = JOINED(u"[", message);
        publishAll(viewer, list); /* the first element; what follows it in the text is not read */
        free(list);
    } else {
        publishAll(viewer, member(context, u"dismissalactions"));
    }
    endAlert(viewer, BREVANT_ALERT_DISMISSED);
}

static void refuse(Viewer* viewer, const Letter* request) {
    char16_t* const failed = JOINED(BREVANT_ALERT_PREFIX, BREVANT_ALERT_FAILED, lastWord(request->name));
    answer(&viewer->session, request, failed);
    free(failed);
}

static void show(Viewer* viewer, const Letter* request) {
    const char16_t* const id = member(request->payload, BREVANT_DESCRIPTION_ID);
    const char16_t* const context = member(request->payload, BREVANT_DESCRIPTION_CONTEXT);
    char16_t *title, *text, *shown;
    if (!id || *id != u'"') {
        refuse(viewer, request);
        return;
    }
    if (viewer->description)
        endAlert(viewer, BREVANT_ALERT_FAILED); /* the broker has given it up */
    viewer->description = copy16(request->payload);
    viewer->alert = textOf(id);
    viewer->instance = copy16(lastWord(request->name));
    viewer->until = time(NULL) + numberOf(member(request->payload, BREVANT_DESCRIPTION_TIMEOUT), 30);
    title = textOf(member(context, BREVANT_CONTEXT_TITLE));
    text = textOf(member(context, BREVANT_CONTEXT_DEFAULT_CONTENT));
    printf("== ");
    print16(stdout, title);
    printf("\n");
    print16(stdout, text);
    printf("\n");
    fflush(stdout);
    free(title);
    free(text);
    shown = JOINED(BREVANT_ALERT_PREFIX, viewer->alert, BREVANT_ALERT_SHOWN, viewer->instance);
    answer(&viewer->session, request, shown);
    free(shown);
    if (strcmp(viewer->answer, "timeout") != 0)
        choose(viewer);
}

/* The plain copy of the answer is what ends the alert. */
static void takeDown(Viewer* viewer, const Letter* request) {
    const char16_t* const instance = lastWord(request->name);
    const int isShown = viewer->instance && same16(viewer->instance, instance);
    char16_t* const name =
        JOINED(BREVANT_ALERT_PREFIX, isShown ? viewer->alert : u"", BREVANT_ALERT_DISMISSED, instance);
    answer(&viewer->session, request, name);
    free(name);
    if (isShown) {
        free(viewer->description);
        free(viewer->alert);
        free(viewer->instance);
        viewer->description = viewer->alert = viewer->instance = NULL;
    }
}

static void receive(Viewer* viewer, const Letter* request) {
    char16_t* const head = JOINED(BREVANT_VIEWER_PREFIX, viewer->id);
    const char16_t* const rest = request->name + length16(head);
    if (begins16(rest, BREVANT_VIEWER_SHOW)) {
        show(viewer, request);
    } else if (begins16(rest, BREVANT_VIEWER_DELETE)) {
        takeDown(viewer, request);
    } else {
        char16_t* const name = JOINED(request->name, u".Response");
        answer(&viewer->session, request, name);
        free(name);
    }
    free(head);
}

static int subscribeAll(Viewer* viewer) {
    Session* const session = &viewer->session;
    /* A pattern that is literal up to a final "\..+" costs the bus nothing. */
    char16_t* const shows = JOINED(u"Brevant\\.Viewer\\.", viewer->id, u"\\.Show\\..+");
    char16_t* const deletions = JOINED(u"Brevant\\.Viewer\\.", viewer->id, u"\\.Delete\\..+");
    char16_t* const alive = JOINED(BREVANT_VIEWER_PREFIX, viewer->id, u".Alive");
    const BrevantBusFunctions* const bus = session->bus;
    const int done = bus->subscribePattern(session->handle, &session->messages, onMessage, shows) &&
                     bus->subscribePattern(session->handle, &session->messages, onMessage, deletions) &&
                     bus->subscribe(session->handle, &session->messages, onMessage, alive);
    free(shows);
    free(deletions);
    free(alive);
    return done;
}

static int setRegistered(Viewer* viewer, int registered) {
    char16_t* const payload = registered ? JOINED(u"{\"name\":\"Brevant/Viewer/", viewer->id,
                                                  u"\",\"value\":\"{\\\"alive\\\":true}\",\"volatile\":true}")
                                         : JOINED(u"{\"name\":\"Brevant/Viewer/", viewer->id, u"\"}");
    Letter* const reply =
        ask(&viewer->session, registered ? BREVANT_SETTINGS_SET : BREVANT_SETTINGS_REMOVE, payload, 5000);
    const int done = reply->status == MODULE_STATUS_SUCCESS;
    freeLetter(reply);
    free(payload);
    return done;
}

static int lists(const char16_t* status, const char16_t* viewer) {
    const char16_t* const viewers = member(status, u"viewers");
    const char16_t* each;
    size_t index;
    int found = 0;
    for (index = 0; !found && (each = element(viewers, index)) != NULL; ++index) {
        char16_t* const id = textOf(member(each, u"id"));
        found = same16(id, viewer);
        free(id);
    }
    return found;
}

/* Registers with a host that does not know it: a new one, or one where it was removed. */
static void lookForHost(Viewer* viewer) {
    Letter* const status = ask(&viewer->session, u"Brevant.Host.Status", u"", 5000);
    char16_t* const start = textOf(member(status->payload, u"start"));
    const int isThere = status->status == MODULE_STATUS_SUCCESS;
    const int isGone = status->status == MODULE_STATUS_NO_SUBSCRIBERS;
    const int isSame = isThere && viewer->host && same16(viewer->host, start);
    if (viewer->description && (isGone || (isThere && viewer->host && !isSame)))
        endAlert(viewer, BREVANT_ALERT_FAILED); /* the former host's */
    if (isGone) {
        if (viewer->host)
            fprintf(stderr, "the host is gone; waiting for it\n");
        free(viewer->host);
        viewer->host = NULL;
    } else if (isThere && (!isSame || !lists(status->payload, viewer->id)) && setRegistered(viewer, 1)) {
        printf("registered as \"");
        print16(stdout, viewer->id);
        printf("\"\n");
        fflush(stdout);
        free(viewer->host);
        viewer->host = copy16(start);
    }
    free(start);
    freeLetter(status);
}

static void serve(Viewer* viewer) {
    time_t nextLook = 0;
    while (!stopped) {
        Letter* letter;
        if (time(NULL) >= nextLook) {
            lookForHost(viewer);
            nextLook = time(NULL) + 2;
        }
        letter = takeOut(&viewer->session.messages, 100);
        if (letter)
            receive(viewer, letter);
        freeLetter(letter);
        if (viewer->description && time(NULL) >= viewer->until) {
            publishAll(viewer,
                       member(member(viewer->description, BREVANT_DESCRIPTION_CONTEXT), u"timeoutactions"));
            endAlert(viewer, BREVANT_ALERT_DISMISSED);
        }
    }
    if (viewer->description)
        endAlert(viewer, BREVANT_ALERT_FAILED);
    if (viewer->host)
        setRegistered(viewer, 0);
}

int main(int count, char** arguments) {
    Viewer viewer;
    const char* id = "example";
    int at, code = 1;
    memset(&viewer, 0, sizeof viewer);
    for (at = 1; at + 1 < count; at += 2) {
        if (strcmp(arguments[at], "--id") == 0)
            id = arguments[at + 1];
        else if (strcmp(arguments[at], "--answer") == 0)
            viewer.answer = arguments[at + 1];
        else
            break;
    }
    if (at != count || !viewer.answer || strspn(id, "abcdefghijklmnopqrstuvwxyz-0123456789") != strlen(id)) {
        fprintf(stderr,
                "usage: %s --id ID --answer dismiss|timeout|NUMBER\n"
                "an ID has small letters, digits and dashes\n",
                arguments[0]);
        return 2;
    }
    signal(SIGTERM, onSignal);
    signal(SIGINT, onSignal);
    viewer.id = from8(id, strlen(id));
    if (openSession(&viewer.session, arguments[0], "viewer", u"viewer.c") && subscribeAll(&viewer)) {
        serve(&viewer);
        code = 0;
    } else {
        fprintf(stderr, "%s: there is no bus\n", arguments[0]);
    }
    closeSession(&viewer.session);
    free(viewer.id);
    free(viewer.host);
    return code;
}
