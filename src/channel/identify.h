#ifndef TARN_CHANNEL_IDENTIFY_H
#define TARN_CHANNEL_IDENTIFY_H

/* Names and contents become type codes. */

#include <tarnimage/export.h>

TARN_BEGIN_C

/* The type of the raster a name stands for, and the absolute path of the file
 * actually found (resolved must hold at least TARN_PATH_MAX bytes). The result
 * is the type, or -1. */
#define TARN_PATH_MAX 4096
int get_image_type_from_name(const char* name, char* resolved, int* type);

TARN_END_C

#endif
