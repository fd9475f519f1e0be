#ifndef TARN_CHANNEL_PROPERTIES_H
#define TARN_CHANNEL_PROPERTIES_H

/* Size, bands and depth of a raster from its name and type code, without an
 * Image record. */

#include <tarnimage/export.h>

TARN_BEGIN_C

int get_image_info(int type, const char* name, int* rows, int* columns, int* bands, int* depth);
int get_standard_color_name(const char* name, char* color_name);

TARN_END_C

#endif
