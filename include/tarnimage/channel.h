#ifndef TARNIMAGE_CHANNEL_H
#define TARNIMAGE_CHANNEL_H

/* The flat channel interface: open a raster by name and type code, read whole
 * rows of one band (or of all bands), and ask for its size and colours. */

#include <stdint.h>
#include <tarnimage/export.h>
#include <tarnimage/image.h>

TARN_BEGIN_C

/* mode 'r' only. 1, -1, or -2 when the record is already open. The record must
 * come zeroed from calloc: a successful close frees it. After -1 nothing is
 * left open and the record is still the caller's to free. */
TARN_EXPORT int open_image_channel(Image* image, const char* name, char mode, int type, int band);
TARN_EXPORT int close_image_channel(Image* image, char mode);
TARN_EXPORT int get_image_row(Image* image, int row, uint32_t* out, int capacity);
TARN_EXPORT int get_image_row8(Image* image, int row, uint8_t* out, int capacity);
TARN_EXPORT int get_image_row_runs(Image* image, int row, int a, int b, int c);
TARN_EXPORT int image_rows(Image* image);
TARN_EXPORT int image_columns(Image* image);
TARN_EXPORT int image_bandgap(Image* image);
TARN_EXPORT int image_depth(Image* image);
TARN_EXPORT int image_nbands(Image* image);
TARN_EXPORT int image_type(Image* image);
TARN_EXPORT int multi_I_band(Image* image);
TARN_EXPORT int multi_O_band(Image* image);
TARN_EXPORT int runio_I_image(Image* image);
TARN_EXPORT int runio_O_image(Image* image);
TARN_EXPORT int image_channel_rewind(Image* image);
TARN_EXPORT int image_colors(Image* image);
TARN_EXPORT int get_image_colormap(Image* image, int* first, int* last,
                                   uint8_t* red, uint8_t* green, uint8_t* blue);
TARN_EXPORT Image* getrd_image(Image* image);

TARN_END_C

#endif
