#ifndef TARNIMAGE_REPACK_H
#define TARNIMAGE_REPACK_H

/* Packed rows to one value a byte (or a 16-bit word). `source` holds the
 * packed bits of `count` values and is read up to the word, or byte, that
 * holds the last of them, never beyond. */

#include <stdint.h>
#include <tarnimage/export.h>

TARN_BEGIN_C

/* 16 two-bit values a 32-bit word, the highest pair first. */
TARN_EXPORT void repack_2to8(uint32_t* source, void* target, int count);
/* Six-bit fields, four to each group of 3 bytes, low bits first. */
TARN_EXPORT void repack_6to8(uint32_t* source, void* target, int count);
/* Twelve-bit fields, two to each group of 3 bytes, low bits first; the
 * target holds uint16_t values. */
TARN_EXPORT void repack_12to16(uint32_t* source, void* target, int count);

TARN_END_C

#endif
