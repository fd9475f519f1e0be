#ifndef TARNIMAGE_WORLD_H
#define TARNIMAGE_WORLD_H

/* World transforms: six numbers xscale, yskew, xskew, yscale, xorigin, yorigin
 * that carry a pixel centre (column c, row r from the top left) to
 *   x = xscale * c + xskew * r + xorigin,  y = yskew * c + yscale * r + yorigin. */

#include <tarnimage/export.h>

TARN_BEGIN_C

/* The area the image's pixels cover: x min, y min, x max, y max of the four
 * outer pixel corners, so half a pixel beyond the centres. Always 1. */
TARN_EXPORT int calc_image_world_box(int rows, int columns, const double transform[6],
                                     double box[4]);

TARN_END_C

#endif
