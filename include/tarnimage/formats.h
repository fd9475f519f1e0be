#ifndef TARNIMAGE_FORMATS_H
#define TARNIMAGE_FORMATS_H

/* The formats the library knows: the built-in ones by type code, then the
 * registered drivers in the order identification asks them. Registered
 * drivers are there only while a manager is alive (or after II_RegisterUDF). */

#include <stdint.h>
#include <tarnimage/export.h>

TARN_BEGIN_C

typedef struct TarnFormat {
    int32_t type;              /* type code */
    const char* keyword;       /* as type_from_keyword matches it */
    const char* suffix;        /* the usual file suffix without its dot, or "" */
    const char* description;
    int32_t registered;        /* 1 for a registered driver, 0 for a built-in one */
} TarnFormat;

/* Fills format with the index-th format and gives 1, or 0 past the last. The
 * strings stay valid until the registry next changes. */
TARN_EXPORT int tarn_get_format(int index, TarnFormat* format);

TARN_END_C

#endif
