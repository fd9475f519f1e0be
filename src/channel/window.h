#ifndef TARN_CHANNEL_WINDOW_H
#define TARN_CHANNEL_WINDOW_H

/* Ties an output rectangle to a window on the image at a zoom (output pixels
 * per image pixel), and builds the column map of the resample kernels. The
 * one-to-one twin is image_row_map in channel.h. */

#include <tarnimage/image.h>

TARN_BEGIN_C

/* Origins are image coordinates of the window's top left (the centre of pixel
 * 0 is 0, its edge -0.5) and come back raised to -0.5 when below it. 1, or -1
 * when no image pixel falls in the output or out of memory. */
int image_window_map(Image* image, int type, int out_x, int out_y, int out_width, int out_height,
                     float* zoom_x, float* zoom_y, float* origin_x, float* origin_y);

TARN_END_C

#endif
