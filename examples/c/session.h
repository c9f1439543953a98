/*
 * What the viewer and the product of these examples have in common: a bus library that is loaded, messages
 * that are handed from the bus's threads to the program's own, and texts.
 *
 * The bus calls back on any of its threads, several at once. So callbacks do nothing but put a copy of the
 * message into a box; main takes one after the other, and nothing else needs a lock.
 */
#ifndef EXAMPLES_SESSION_H
#define EXAMPLES_SESSION_H

#include <dlfcn.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <brevant/bus.h>
#include <brevant/library.h>

typedef struct Letter {
    struct Letter* next;
    MessageHeader header;
    uint32_t status; /* of an answer: 0, or why there is none */
    char16_t* name;
    char16_t* payload;
} Letter;

/* Whoever puts something in may do so on any thread; one thread takes it out. */
typedef struct Box {
    pthread_mutex_t mutex;
    pthread_cond_t filled;
    Letter *first, *last;
} Box;

typedef struct Session {
    void* library;
    const BrevantBusFunctions* bus;
    BrevantBusHandle handle;
    const char16_t* sender;
    Box messages; /* what it has subscribed to */
    Box answers;  /* to ask() */
} Session;

/* --- texts ------------------------------------------------------------------------------------------------
 */

static inline size_t length16(const char16_t* text) {
    size_t length = 0;
    while (text && text[length])
        ++length;
    return length;
}

static inline char16_t* copy16(const char16_t* text) {
    const size_t length = length16(text);
    char16_t* copy = (char16_t*)calloc(length + 1, sizeof *copy);
    if (!copy)
        abort();
    if (length)
        memcpy(copy, text, length * sizeof *copy);
    return copy;
}

static inline int same16(const char16_t* one, const char16_t* other) {
    while (*one && *one == *other)
        ++one, ++other;
    return *one == *other;
}

/* Whether the one begins with the other. */
static inline int begins16(const char16_t* text, const char16_t* with) {
    while (*with && *text == *with)
        ++text, ++with;
    return !*with;
}

/* The parts one after the other, until a null. To be freed. */
static inline char16_t* joined(const char16_t* const* parts) {
    size_t length = 0;
    char16_t *text, *end;
    const char16_t* const* part;
    for (part = parts; *part; ++part)
        length += length16(*part);
    end = text = (char16_t*)calloc(length + 1, sizeof *text);
    if (!text)
        abort();
    for (part = parts; *part; ++part) {
        memcpy(end, *part, length16(*part) * sizeof *text);
        end += length16(*part);
    }
    return text;
}
#define JOINED(...) joined((const char16_t* const[]){__VA_ARGS__, NULL})

/* UTF-8 from a file or the command line; what is no UTF-8 becomes U+FFFD. To be freed. */
static inline char16_t* from8(const char* bytes, size_t size) {
    char16_t* text = (char16_t*)calloc(size + 1, sizeof *text);
    size_t at = 0, end = 0;
    if (!text)
        abort();
    while (at < size) {
        const unsigned char lead = (unsigned char)bytes[at++];
        const int more = lead < 0x80 ? 0 : lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : lead >= 0xC2 ? 1 : -1;
        uint32_t code = more <= 0 ? lead : lead & (0x3Fu >> more);
        int taken = 0;
        while (taken < more && at < size && ((unsigned char)bytes[at] & 0xC0) == 0x80) {
            code = code << 6 | ((unsigned char)bytes[at++] & 0x3F);
            ++taken;
        }
        if (more < 0 || taken < more || code > 0x10FFFF)
            code = 0xFFFD;
        if (code >= 0x10000) {
            text[end++] = (char16_t)(0xD800 + ((code - 0x10000) >> 10));
            text[end++] = (char16_t)(0xDC00 + (code & 0x3FF));
        } else {
            text[end++] = (char16_t)code;
        }
    }
    return text;
}

/* To a terminal: what could steer it, and lone surrogates, as \uXXXX. */
static inline void print16(FILE* file, const char16_t* text) {
    for (; text && *text; ++text) {
        uint32_t code = *text;
        if (code >= 0xD800 && code < 0xDC00 && text[1] >= 0xDC00 && text[1] < 0xE000)
            code = 0x10000 + ((code - 0xD800) << 10) + (*++text - 0xDC00u);
        if (code < 0x20 || (code >= 0x7F && code < 0xA0) || (code >= 0xD800 && code < 0xE000) ||
            (code >= 0x200B && code <= 0x202E) || (code >= 0x2060 && code <= 0x206F))
            fprintf(file, "\\u%04X", (unsigned)code);
        else if (code < 0x80)
            fputc((int)code, file);
        else if (code < 0x800)
            fprintf(file, "%c%c", (int)(0xC0 | code >> 6), (int)(0x80 | (code & 0x3F)));
        else if (code < 0x10000)
            fprintf(file, "%c%c%c", (int)(0xE0 | code >> 12), (int)(0x80 | (code >> 6 & 0x3F)),
                    (int)(0x80 | (code & 0x3F)));
        else
            fprintf(file, "%c%c%c%c", (int)(0xF0 | code >> 18), (int)(0x80 | (code >> 12 & 0x3F)),
                    (int)(0x80 | (code >> 6 & 0x3F)), (int)(0x80 | (code & 0x3F)));
    }
}

/* The last word of a message's name: the alert's instance. */
static inline const char16_t* lastWord(const char16_t* name) {
    const char16_t* word = name;
    for (; *name; ++name)
        if (*name == u'.')
            word = name + 1;
    return word;
}

/* --- the box ----------------------------------------------------------------------------------------------
 */

static inline void putIn(Box* box, const MessageHeader* header, const char16_t* name, const char16_t* payload,
                         uint32_t status) {
    Letter* letter = (Letter*)calloc(1, sizeof *letter);
    if (!letter)
        abort();
    if (header)
        letter->header = brevantReadHeader(header);
    letter->name = copy16(name);
    letter->payload = copy16(payload);
    letter->status = status;
    pthread_mutex_lock(&box->mutex);
    if (box->last)
        box->last->next = letter;
    else
        box->first = letter;
    box->last = letter;
    pthread_cond_signal(&box->filled);
    pthread_mutex_unlock(&box->mutex);
}

/* Null when nothing comes in time. To be freed with freeLetter. */
static inline Letter* takeOut(Box* box, long milliseconds) {
    struct timespec until;
    Letter* letter;
    clock_gettime(CLOCK_REALTIME, &until);
    until.tv_sec += milliseconds / 1000;
    until.tv_nsec += milliseconds % 1000 * 1000000;
    if (until.tv_nsec >= 1000000000) {
        until.tv_nsec -= 1000000000;
        ++until.tv_sec;
    }
    pthread_mutex_lock(&box->mutex);
    while (!box->first && pthread_cond_timedwait(&box->filled, &box->mutex, &until) == 0)
        ;
    letter = box->first;
    if (letter) {
        box->first = letter->next;
        if (!box->first)
            box->last = NULL;
    }
    pthread_mutex_unlock(&box->mutex);
    return letter;
}

static inline void freeLetter(Letter* letter) {
    if (letter) {
        free(letter->name);
        free(letter->payload);
        free(letter);
    }
}

/* --- the bus ----------------------------------------------------------------------------------------------
 */

static inline uint32_t onMessage(void* context, const MessageHeader* header, const char16_t* name,
                                 const char16_t* sender, const char16_t* payload) {
    (void)sender;
    putIn((Box*)context, header, name, payload, 0);
    return MODULE_STATUS_SUCCESS;
}

static inline uint32_t onAnswer(void* context, uint64_t index, const MessageHeader* header,
                                const char16_t* name, const char16_t* sender, const char16_t* payload,
                                uint32_t status) {
    (void)index, (void)sender;
    putIn((Box*)context, status ? NULL : header, status ? NULL : name, status ? NULL : payload, status);
    return MODULE_STATUS_SUCCESS;
}

/* The library stands beside the program; it finds the bus of the machine by itself. */
static inline int openSession(Session* session, const char* program, const char* role,
                              const char16_t* sender) {
    char path[4096];
    const char* const end = strrchr(program, '/');
    BrevantCreateObject create;
    memset(session, 0, sizeof *session);
    session->sender = sender;
    pthread_mutex_init(&session->messages.mutex, NULL);
    pthread_cond_init(&session->messages.filled, NULL);
    pthread_mutex_init(&session->answers.mutex, NULL);
    pthread_cond_init(&session->answers.filled, NULL);
    setenv("BREVANT_BUS_ROLE", role, 1); /* whose password it takes */
    snprintf(path, sizeof path, "%.*s/MessageBus.dll", end ? (int)(end - program) : 1, end ? program : ".");
    session->library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (!session->library)
        return 0;
    *(void**)&create = dlsym(session->library, BREVANT_EXPORT_CREATE_OBJECT);
    session->bus = create ? (const BrevantBusFunctions*)create(BREVANT_BUS_VERSION) : NULL;
    return session->bus && session->bus->acquireHandle(&session->handle) == MODULE_STATUS_SUCCESS;
}

/* Once releaseHandle has returned nothing calls back any more, and what is in the boxes may go. */
static inline void closeSession(Session* session) {
    Letter* letter;
    if (session->handle)
        session->bus->releaseHandle(session->handle);
    while ((letter = takeOut(&session->messages, 0)) || (letter = takeOut(&session->answers, 0)))
        freeLetter(letter);
    if (session->library)
        dlclose(session->library);
}

static inline int say(Session* session, const char16_t* name, const char16_t* payload) {
    const MessageHeader header = brevantDefaultHeader();
    return session->bus->publish(session->handle, &header, name, session->sender, payload) ==
           MODULE_STATUS_SUCCESS;
}

/* The reply to the requester, and its plain copy for everybody. */
static inline void answer(Session* session, const Letter* request, const char16_t* name) {
    MessageHeader header = brevantDefaultHeader();
    brevantCorrelateReply(&header, &request->header);
    session->bus->publish(session->handle, &header, name, session->sender, u"");
    say(session, name, u"");
}

/* One request at a time. The answer's status is 0, or says why there is none. To be freed with freeLetter. */
static inline Letter* ask(Session* session, const char16_t* name, const char16_t* payload,
                          uint32_t milliseconds) {
    const MessageHeader header = brevantDefaultHeader();
    const uint32_t status = session->bus->request(session->handle, 0, &session->answers, onAnswer, &header,
                                                  name, session->sender, payload, milliseconds);
    if (status != MODULE_STATUS_SUCCESS)
        putIn(&session->answers, NULL, NULL, NULL, status); /* an accepted request alone is answered */
    return takeOut(&session->answers, 0x7FFFFFFF);
}

/* --- JSON, as far as it is needed: where a member or an element stands -------------------------------------
 */

static inline const char16_t* skipBlanks(const char16_t* at) {
    while (*at == u' ' || *at == u'\t' || *at == u'\n' || *at == u'\r')
        ++at;
    return at;
}

/* Past the value that begins there; to the end of the text when it is none. */
static inline const char16_t* skipValue(const char16_t* at) {
    int depth = 0;
    at = skipBlanks(at);
    do {
        if (*at == u'"') {
            for (++at; *at && *at != u'"'; ++at)
                if (*at == u'\\' && at[1])
                    ++at;
            if (*at)
                ++at;
        } else if (*at == u'{' || *at == u'[') {
            ++depth, ++at;
        } else if (*at == u'}' || *at == u']') {
            --depth, ++at;
        } else {
            while (*at && *at != u',' && *at != u'}' && *at != u']' && *at != u'"' && *at != u'{' &&
                   *at != u'[')
                ++at;
            if (depth && *at == u',')
                ++at;
        }
    } while (*at && depth > 0);
    return at;
}

/* The value of an object's member; null when there is none, or no object. Names without escapes. */
static inline const char16_t* member(const char16_t* object, const char16_t* name) {
    const size_t length = length16(name);
    const char16_t* at = object ? skipBlanks(object) : NULL;
    if (!at || *at != u'{')
        return NULL;
    for (at = skipBlanks(at + 1); *at == u'"';) {
        const char16_t* const key = at + 1;
        const char16_t* const end = skipValue(at);
        const int found = (size_t)(end - key) == length + 1 && begins16(key, name);
        at = skipBlanks(end);
        if (*at != u':')
            return NULL;
        at = skipBlanks(at + 1);
        if (found)
            return at;
        at = skipBlanks(skipValue(at));
        if (*at != u',')
            return NULL;
        at = skipBlanks(at + 1);
    }
    return NULL;
}

/* The value of an array's element, counted from 0; null when there are not so many. */
static inline const char16_t* element(const char16_t* array, size_t index) {
    const char16_t* at = array ? skipBlanks(array) : NULL;
    if (!at || *at != u'[')
        return NULL;
    at = skipBlanks(at + 1);
    for (; *at && *at != u']'; at = skipBlanks(at + 1)) {
        if (index-- == 0)
            return at;
        at = skipBlanks(skipValue(at));
        if (*at != u',')
            return NULL;
    }
    return NULL;
}

/* The text that a value is; an empty one when it is none. To be freed. */
static inline char16_t* textOf(const char16_t* value) {
    char16_t *text, *end;
    const char16_t* at = value;
    if (!value || *value != u'"')
        return copy16(u"");
    end = text = copy16(value);
    for (++at; *at && *at != u'"'; ++at) {
        if (*at != u'\\') {
            *end++ = *at;
            continue;
        }
        ++at;
        if (*at == u'u') {
            int digit;
            char16_t code = 0;
            for (digit = 0; digit < 4 && at[1]; ++digit) {
                const char16_t unit = *++at;
                code = (char16_t)(code << 4 | (unit <= u'9' ? unit - u'0' : (unit | 0x20) - u'a' + 10));
            }
            *end++ = code;
        } else if (*at) {
            *end++ = *at == u'n' ? u'\n' : *at == u't' ? u'\t' : *at == u'r' ? u'\r' : *at;
        }
    }
    *end = 0;
    return text;
}

/* A number without its fraction; the other one when the value is none. */
static inline long numberOf(const char16_t* value, long otherwise) {
    long number = 0;
    if (!value || *value < u'0' || *value > u'9')
        return otherwise;
    for (; *value >= u'0' && *value <= u'9' && number < 100000000; ++value)
        number = number * 10 + (*value - u'0');
    return number;
}

#endif
