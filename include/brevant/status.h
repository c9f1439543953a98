/*
 * Module statuses: the result of every module, bus and plugin operation. Statuses that a bus or a plugin
 * returns are logged and passed on as they are; those without a comment never begin in the broker.
 */
#ifndef BREVANT_STATUS_H
#define BREVANT_STATUS_H

#include <brevant/conventions.h>

#define MODULE_STATUS_SUCCESS ((uint32_t)0x00000000u)
#define MODULE_STATUS_NOT_SUPPORTED ((uint32_t)0x80000001u)    /* a table lacks the entry */
#define MODULE_STATUS_UNSUCCESSFUL ((uint32_t)0x80000002u)     /* no reason known */
#define MODULE_STATUS_BUFFER_TOO_SMALL ((uint32_t)0x80000003u) /* compat: no usable plugin */
#define MODULE_STATUS_NOT_IMPLEMENTED ((uint32_t)0x80000004u)
#define MODULE_STATUS_INVALID_BUFFER_SIZE ((uint32_t)0x80000005u)
#define MODULE_STATUS_DATA_ERROR ((uint32_t)0x80000006u) /* a payload or a reply cannot be read */
#define MODULE_STATUS_INVALID_HANDLE ((uint32_t)0x80000007u)
#define MODULE_STATUS_INVALID_PARAMETER ((uint32_t)0x80000008u) /* also for a null module handle */
#define MODULE_STATUS_NO_MEMORY ((uint32_t)0x80000009u)
#define MODULE_STATUS_NOT_FOUND ((uint32_t)0x8000000Au) /* a reply to no request, a library or its entry */
#define MODULE_STATUS_ON_DEMAND_ENABLED ((uint32_t)0x8000000Bu)
#define MODULE_STATUS_PROPERTY_NOT_FOUND ((uint32_t)0x8000000Cu)
#define MODULE_STATUS_TIMEOUT ((uint32_t)0x8000000Du)           /* no reply came in time */
#define MODULE_STATUS_NO_SUBSCRIBERS ((uint32_t)0x8000000Eu)    /* nobody takes the request */
#define MODULE_STATUS_UNKNOWN_EXCEPTION ((uint32_t)0x8000000Fu) /* unforeseen; the log may say more */
#define MODULE_STATUS_DUPLICATE_MODULE ((uint32_t)0x80000010u)
#define MODULE_STATUS_PARTIAL_SUCCESS ((uint32_t)0x80000011u)
#define MODULE_STATUS_UWP_APP_NOT_INSTALLED ((uint32_t)0x80000012u)
#define MODULE_STATUS_APP_SERVICE_UNAVAILABLE ((uint32_t)0x80000013u)
#define MODULE_STATUS_APP_SERVICE_UNAUTHORIZED ((uint32_t)0x80000014u)
#define MODULE_STATUS_SESSION_INVALID ((uint32_t)0x80000015u)
/* compat: stands apart from the dense run above on purpose. */
#define MODULE_STATUS_INVALID_STATE ((uint32_t)0x800000FFu) /* the module has not been initialised */

#endif
