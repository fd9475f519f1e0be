#ifndef TARNIMAGE_RGBA_H
#define TARNIMAGE_RGBA_H

/* Pixel block helpers. Blocks are rows of 4-byte pixels, red first. */

#include <tarnimage/export.h>

TARN_BEGIN_C
/* Copies bytes 0, 1, 2 of each pixel and sets byte 3 (alpha) to 255. */
TARN_EXPORT void copyRGBAtoBGRA(void* source, void* target, int bytes);
/* Exchanges bytes 0 and 2 of each pixel in place. */
TARN_EXPORT void S_ConvertRGBAToBGRA(void* block, long row_bytes, long rows);
TARN_END_C

#endif
