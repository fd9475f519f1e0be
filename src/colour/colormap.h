#ifndef TARN_COLOUR_COLORMAP_H
#define TARN_COLOUR_COLORMAP_H

/* Colormap and Lut records: what colour each index stands for, and how raw
 * values are remapped first. Only records named "EXTERNAL" reach the kernels. */

#include <tarnimage/image.h>

TARN_BEGIN_C

int reset_colormap(Colormap* colormap);
int validate_colormap(Colormap* colormap);
int free_colormap_buffers(Colormap* colormap);
void free_colormap(Colormap* colormap);
Lut* reset_lut(Lut* lut);
int free_lut_buffers(Lut* lut);

TARN_END_C

#endif
