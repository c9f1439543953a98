/*
 * Conventions of the Brevant C interface. They hold for every header of this folder.
 *
 *  1. Texts are NUL-terminated UTF-16 in the machine's byte order (char16_t), on every system, unless an
 *     entry says that it takes 8-bit text.
 *  2. Functions use the platform's default C calling convention.
 *  3. Every status is a 32-bit module status (status.h): 0 is success, failures have the top bit set.
 *  4. Handles and contexts are opaque pointers. Who made one is the only one to look behind it.
 *  5. Pointers passed to a function or a callback are valid for that call only, unless the entry says
 *     otherwise; who wants to keep a text copies it. Memory is freed by the library that allocated it.
 *  6. No exception crosses the interface, in either direction.
 *  7. Tables grow at their end only. Ask for a table with the version you were compiled against.
 *  8. Each entry ends with a tag "[thread & state]": the threads it may be called on and the state in which
 *     it may be called.
 */
#ifndef BREVANT_CONVENTIONS_H
#define BREVANT_CONVENTIONS_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define BREVANT_STATIC_ASSERT(condition, text) static_assert(condition, text)
#else
#include <assert.h>
#include <uchar.h>
#define BREVANT_STATIC_ASSERT(condition, text) _Static_assert(condition, text)
#endif

BREVANT_STATIC_ASSERT(sizeof(void*) == 8, "the interface is for 64-bit processes");

/* Version of the module interface: major * 1000000 + minor * 1000 + patch. */
#define BREVANT_VERSION_NUMBER 2001000u
#define BREVANT_VERSION_TEXT "2.1.0"

#endif
