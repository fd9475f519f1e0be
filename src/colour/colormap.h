#ifndef TARN_COLOUR_COLORMAP_H
#define TARN_COLOUR_COLORMAP_H

/* Colormap and Lut records: what colour each index stands for, and how raw
 * values are remapped first. Only records named "EXTERNAL" reach the kernels.
 * The exported operations are in tarnimage/colour.h. */

#include <tarnimage/colour.h>
#include <tarnimage/image.h>

TARN_BEGIN_C

/* Sets the fields of an empty record without freeing anything. */
int reset_colormap(Colormap* colormap);
/* A map without special colours ends at low + ncolors - 1. */
int validate_colormap(Colormap* colormap);
/* Frees the five arrays unless ncolors is 0; sets ncolors to 0. */
int free_colormap_buffers(Colormap* colormap);
Lut* reset_lut(Lut* lut);
int free_lut_buffers(Lut* lut);
/* The image's records take a private copy of the source's. */
int image_replace_colormap(Image* image, const Colormap* source);
int image_replace_lut(Image* image, const Lut* source);

TARN_END_C

#endif
