/*
 * The alert protocol on the message bus, for who writes a product, a viewer or a monitor: the names of its
 * messages, the settings that it heeds, and the members of an alert description.
 *
 * A name is put together from the parts below, an alert id (the product's own text for the alert), an
 * instance id (the number, in decimal, under which the broker knows one showing of it) and a viewer id:
 *
 *   BREVANT_ALERT_SHOW + instance id                        the requests of products
 *   BREVANT_ALERT_PREFIX + alert id + word + instance id    what becomes of an alert
 *   BREVANT_VIEWER_PREFIX + viewer id + word + instance id  the requests to a viewer
 *   BREVANT_VIEWER_PREFIX + viewer id + word                viewers that come and go
 *
 * Words bring their dots. Names are compared exactly; the last dot of a name with an instance id is the one
 * before it, for an instance id holds none. A name cannot hold a zero character, since it ends there.
 *
 * Each tag says who sends it and to whom. A request is a message like any other; when its sender asked for a
 * reply (message.h) the answer is one, and a plain message for everybody else too. The broker's requests ask
 * for one. A payload is empty unless one is named.
 */
#ifndef BREVANT_ALERTS_H
#define BREVANT_ALERTS_H

#include <brevant/conventions.h>

/*
 * Sender of the id response, of requests to viewers and of what announces viewers; other answers bear the
 * library's file name.
 */
#define BREVANT_SENDER u"Brevant"

/* --- products and the broker ---------------------------------------------------------------------------- */

#define BREVANT_ALERT_PREFIX u"Brevant.Alert."

/*
 * Asks for an instance id; the answer's payload is the id. Ids count from 1 in each life of a module.
 * [product to broker]
 */
#define BREVANT_ALERT_GET_ID BREVANT_ALERT_PREFIX u"GetId"
#define BREVANT_ALERT_GET_ID_RESPONSE BREVANT_ALERT_GET_ID u".Response"

/*
 * Asks for an alert to be shown; the payload is its description. Answered by QUEUED or SUPPRESSED, or, when
 * the request makes no sense, by no message: the handler's status is then MODULE_STATUS_INVALID_PARAMETER.
 * [product to broker]
 */
#define BREVANT_ALERT_SHOW BREVANT_ALERT_PREFIX u"Show."

/*
 * Withdraws an alert: a queued one whose alert id is the instance id in the name, or the one on screen of
 * that instance id. Answered by DELETED or NOT_FOUND, with an empty alert id, which leaves two dots in a row;
 * by no message, as SHOW, for a number that has not been handed out.
 * [product to broker]
 */
#define BREVANT_ALERT_DELETE BREVANT_ALERT_PREFIX u"Delete."

/* It waits for its turn. [broker to everybody] */
#define BREVANT_ALERT_QUEUED u".Queued."
/* It will not be shown: its plugin, the lack of a viewer or its like in the queue is why. [the same] */
#define BREVANT_ALERT_SUPPRESSED u".Suppressed."
#define BREVANT_ALERT_DELETED u".Deleted."    /* [broker to everybody] */
#define BREVANT_ALERT_NOT_FOUND u".NotFound." /* [broker to everybody] */

/* --- the broker and viewers ----------------------------------------------------------------------------- */

#define BREVANT_VIEWER_PREFIX u"Brevant.Viewer."

/*
 * Asks a viewer to show an alert; the payload is the description, with what the plugin supplied. Answered by
 * SHOWN within 90 s. [broker to viewer]
 */
#define BREVANT_VIEWER_SHOW u".Show."
/* Asks a viewer to take an alert down. Answered by DISMISSED within 90 s. [broker to viewer] */
#define BREVANT_VIEWER_DELETE u".Delete."

#define BREVANT_VIEWER_REGISTERED u".Registered"     /* [broker to everybody] */
#define BREVANT_VIEWER_UNREGISTERED u".Unregistered" /* [broker to everybody] */

/* The alert is on screen. A reply of any other name fails the alert. [viewer, in reply to SHOW] */
#define BREVANT_ALERT_SHOWN u".Shown."
/*
 * The alert's outcome: the user is done with it, or its time is over. The reply to DELETE bears this name
 * too, and it is its plain copy for everybody that ends the alert. [viewer to everybody, once]
 */
#define BREVANT_ALERT_DISMISSED u".Dismissed."
/* The alert's outcome: it could not be shown, or taken down. [viewer or broker to everybody] */
#define BREVANT_ALERT_FAILED u".Failed."

/* --- user sessions -------------------------------------------------------------------------------------- */

/* After each of these the broker looks again which session is the active one. [host to broker] */
#define BREVANT_SESSION_CONSOLE_CONNECT u"SystemMonitor.UserSession.Console.Connect"
#define BREVANT_SESSION_REMOTE_CONNECT u"SystemMonitor.UserSession.Remote.Connect"
#define BREVANT_SESSION_LOGON u"SystemMonitor.UserSession.Logon"
/* The session's alerts are dropped. The payload is an object with BREVANT_SESSION_ID. [host to broker] */
#define BREVANT_SESSION_LOGOFF u"SystemMonitor.UserSession.Logoff"
#define BREVANT_SESSION_ID u"sessionId" /* number of 32 bits */

/* --- settings (settings.h) ------------------------------------------------------------------------------ */

/*
 * "<key>/<viewer id>" registers a viewer for as long as it exists; its value is not read. "<key>/<product>"
 * says where a product's plugin is (plugin.h): the value is the text of an object with the two members.
 */
#define BREVANT_VIEWER_KEY u"Brevant/Viewer"
#define BREVANT_PRODUCT_KEY u"Brevant/Product"
#define BREVANT_PLUGIN_FILE u"pluginFile" /* file name; compat */
#define BREVANT_PLUGIN_PATH u"pluginPath" /* folder, a full path; may hold path macros */

/* --- the alert description: one object ------------------------------------------------------------------ */

/*
 * It nests at most 512 deep, itself counted. Members are required unless said otherwise. A number is a whole
 * one of 32 bits, not negative.
 */
#define BREVANT_DESCRIPTION_ID u"id"                  /* text without a zero character */
#define BREVANT_DESCRIPTION_INSTANCE_ID u"instanceId" /* text, as in the request's name */
#define BREVANT_DESCRIPTION_PRIORITY u"priority"      /* text, "P1" (first) to "P3" */
#define BREVANT_DESCRIPTION_PRODUCT u"product"        /* text; whose plugin processes the alert */
#define BREVANT_DESCRIPTION_CONTENT u"content"        /* text, not required; the plugin's replaces it */
#define BREVANT_DESCRIPTION_TIMEOUT u"timeout"        /* number of seconds, 30 when missing */
#define BREVANT_DESCRIPTION_SESSION_ID u"sessionId"   /* number; 0 or missing: the active session */
#define BREVANT_DESCRIPTION_SOURCE u"source"          /* text, one of the two below */
#define BREVANT_DESCRIPTION_FORCE_PREFERRED_VIEWER u"forcePreferredViewer" /* boolean; carried along */
#define BREVANT_DESCRIPTION_PREFERRED_VIEWER u"preferredViewer" /* list of viewer ids, not required */
#define BREVANT_DESCRIPTION_CONTEXT u"context"                  /* object, below */

#define BREVANT_SOURCE_CLIENT u"client"
#define BREVANT_SOURCE_WEB u"web"

/*
 * Members of "context", which the viewer receives as it is. Without a title the broker reads none of them.
 * It heeds the title, the two contents and the actions' texts, to tell duplicates.
 */
#define BREVANT_CONTEXT_TITLE u"title"                               /* text */
#define BREVANT_CONTEXT_CATEGORY u"category"                         /* text */
#define BREVANT_CONTEXT_SHORT_DESCRIPTION u"shortdescription"        /* text; compat */
#define BREVANT_CONTEXT_LONG_DESCRIPTION u"longdescription"          /* text */
#define BREVANT_CONTEXT_LANGUAGE_ID u"langid"                        /* text */
#define BREVANT_CONTEXT_DETAILS_CONTENT u"detailscontent"            /* text */
#define BREVANT_CONTEXT_DEFAULT_CONTENT u"defaultcontent"            /* text */
#define BREVANT_CONTEXT_RECOMMENDED_TEXT u"recommendedtext"          /* text */
#define BREVANT_CONTEXT_DETAIL_LINK_TEXT u"detaillinktext"           /* text */
#define BREVANT_CONTEXT_DETAIL_LINK_CONTEXT u"detaillinkcontext"     /* text */
#define BREVANT_CONTEXT_APPLICATION_ID u"appid"                      /* text */
#define BREVANT_CONTEXT_PLUGIN u"plugin"                             /* text */
#define BREVANT_CONTEXT_MARKET_DESCRIPTION u"alertmarketdescription" /* text */
#define BREVANT_CONTEXT_TYPE_DESCRIPTION u"typedescription"          /* text */
#define BREVANT_CONTEXT_TELEMETRY u"telemetry"                       /* text */
#define BREVANT_CONTEXT_TIMEOUT u"timeout"                           /* number */
#define BREVANT_CONTEXT_WIDTH u"width"                               /* number */
#define BREVANT_CONTEXT_STATUS u"status"                             /* number */
#define BREVANT_CONTEXT_DETAIL_LINK_TYPE u"detaillinktype"           /* number */
#define BREVANT_CONTEXT_LEGACY u"legacy"                             /* boolean */
#define BREVANT_CONTEXT_TIMEOUT_ACTIONS u"timeoutactions"     /* list of messages: nobody chose in time */
#define BREVANT_CONTEXT_DISMISSAL_ACTIONS u"dismissalactions" /* list of messages: nothing was chosen */
#define BREVANT_CONTEXT_ACTIONS u"actions"                    /* list of objects: what the user can choose */
#define BREVANT_CONTEXT_OPTIONS u"options"                    /* list of objects: what the user can tick */

/* A message that the viewer publishes when the user has chosen. The broker publishes none of them. */
#define BREVANT_CHOICE_MESSAGE_NAME u"messagename" /* text */
#define BREVANT_CHOICE_PAYLOAD u"payload"          /* text */

/* An action; all but default and options required. */
#define BREVANT_ACTION_ID u"id"                          /* text */
#define BREVANT_ACTION_TEXT u"text"                      /* text */
#define BREVANT_ACTION_DEFAULT u"default"                /* boolean, false when missing */
#define BREVANT_ACTION_DEFAULT_MESSAGE u"defaultmessage" /* a message */
#define BREVANT_ACTION_OPTIONS u"options"                /* list of objects with the next two */
#define BREVANT_ACTION_OPTION_IDS u"idList"              /* list of ids of ticked options */
#define BREVANT_ACTION_OPTION_MESSAGE u"message"         /* the message for them */

/* An option; all required. */
#define BREVANT_OPTION_ID u"id"             /* text */
#define BREVANT_OPTION_TEXT u"text"         /* text */
#define BREVANT_OPTION_SELECTED u"selected" /* boolean: ticked to begin with */

#endif
