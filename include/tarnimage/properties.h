#ifndef TARNIMAGE_PROPERTIES_H
#define TARNIMAGE_PROPERTIES_H

/* Size, bands and depth of a raster from its file name and type code, read
 * afresh from the file's header without opening the raster. Only a negative
 * result is a failure: some formats answer 0 on success, most answer 1. A
 * failure may leave some outputs written. Depth is bits per sample of one
 * band; interleaved 24- and 32-bit pixels count as 3 bands of 8 bits. */

#include <tarnimage/export.h>

TARN_BEGIN_C

TARN_EXPORT int get_image_info(int type, const char* name, int* rows, int* columns, int* bands,
                               int* depth);
TARN_EXPORT int get_image_extent(int type, const char* name, int* rows, int* columns);
TARN_EXPORT int get_image_nbands(int type, const char* name, int* bands);
TARN_EXPORT int get_image_depth(int type, const char* name, int* depth);

TARN_END_C

#endif
