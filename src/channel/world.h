#ifndef TARN_CHANNEL_WORLD_H
#define TARN_CHANNEL_WORLD_H

/* Pixel centres to world coordinates. */

#include <tarnimage/export.h>

TARN_BEGIN_C

int get_image_to_world_transform(int type, const char* name, double transform[6]);

TARN_END_C

#endif
