/*
 * The four functions that every library of this family exports by its undecorated name: the module itself, a
 * message bus library, an alert plugin. They differ in what CreateObject takes and returns.
 */
#ifndef BREVANT_LIBRARY_H
#define BREVANT_LIBRARY_H

#include <brevant/conventions.h>

#ifdef __cplusplus
extern "C" {
#endif

#define BREVANT_EXPORT_CREATE_OBJECT "CreateObject"
#define BREVANT_EXPORT_RELEASE_OBJECT "ReleaseObject"
#define BREVANT_EXPORT_GET_VERSION_STR "GetVersionStr"
#define BREVANT_EXPORT_GET_VERSION_NUM "GetVersionNum"

/*
 * Bus and plugin libraries: returns the function table for the interface version asked for, or null when the
 * library does not offer it. The table stays valid until the library is unloaded. [any thread & loaded]
 */
typedef void* (*BrevantCreateObject)(uint32_t interfaceVersion);

/* Takes back what CreateObject returned; may do nothing. [any thread & loaded] */
typedef void (*BrevantReleaseObject)(void* object);

/* The library's version as 8-bit text, valid until it is unloaded. [any thread & loaded] */
typedef const char* (*BrevantGetVersionStr)(void);

/* The library's version: major * 1000000 + minor * 1000 + patch. [any thread & loaded] */
typedef uint32_t (*BrevantGetVersionNum)(void);

#ifdef __cplusplus
}
#endif

#endif
