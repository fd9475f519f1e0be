#ifndef TARN_CHANNEL_CLYR_H
#define TARN_CHANNEL_CLYR_H

/* The grid companion record that image_clyr_make puts in Image.clyr for the
 * grid path (types 10 and 13): the grid's cell geometry and its
 * two-dimensional buffers. It fits the zeroed block that image_clyr_make
 * allocates. */

#include <stdint.h>
#include <tarnimage/image.h>

TARN_BEGIN_C

typedef struct GridClyr {
    int32_t cell_type;          /* 2: cells are 32-bit floats; otherwise integers */
    int32_t cells_across;       /* grid cells in x and y */
    int32_t cells_down;
    int32_t block_width;        /* cells of one stored block */
    int32_t block_height;
    int32_t screen_width;       /* output size for the 's' graphic buffers */
    int32_t screen_height;
    int32_t display_width;      /* size given to set_clyr_display_buffer */
    int32_t display_height;
    int32_t buffer_width;       /* size of the internal buffers as allocated */
    int32_t buffer_height;
    int32_t graphic_width;      /* size of the graphic buffers as allocated */
    int32_t graphic_height;
    void** row_index;           /* buffer_height row pointers */
    uint32_t** words;           /* buffer_height x buffer_width words */
    void** samples;             /* the same size: bytes up to 8 bits, words above */
    void** msamples[3];
    uint32_t** graphic[4];      /* two for a single band, four for three */
} GridClyr;

/* Size of the block image_clyr_make allocates. */
#define TARN_CLYR_RECORD_BYTES 256

TARN_END_C

#endif
