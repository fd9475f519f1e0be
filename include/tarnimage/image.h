#ifndef TARNIMAGE_IMAGE_H
#define TARNIMAGE_IMAGE_H

/* The Image record: everything known about one open raster. Drivers fill it
 * and install the row functions; the core above them reads only this record. */

#include <stdint.h>
#include <stdio.h>
#include <tarnimage/export.h>

TARN_BEGIN_C

typedef struct Colormap {
    char name[128];          /* "EXTERNAL" makes the row kernels apply it */
    int32_t color_type;      /* 0 true colour, 1 grey, 2 colour */
    int32_t ndclr;           /* index of the no-data colour */
    int32_t outclr;          /* index of the out-of-range colour */
    int32_t first;           /* index of the colour of value `low` */
    int32_t ncolors;         /* length of the arrays */
    int32_t low;
    int32_t high;
    int32_t has_pixels;
    int32_t has_alpha;
    uint8_t* alpha;
    uint8_t* red;
    uint8_t* green;
    uint8_t* blue;
    int32_t* pixels;
    uint32_t gray_low;
    uint32_t gray_high;
    float gray_step;
    uint32_t band_low[3];
    uint32_t band_high[3];
    float band_step[3];
} Colormap;

typedef struct LutChannel {
    int32_t enabled;
    int32_t low;
    int32_t high;
    uint32_t* table;         /* high - low + 1 entries */
    float float_low;
    float float_high;
} LutChannel;

typedef struct Lut {
    char name[128];
    int32_t is_single;
    LutChannel red;
    LutChannel green;
    LutChannel blue;
} Lut;

typedef struct Image Image;

typedef int (*ImageRowFunc)(Image* image, int row);
typedef int (*ImageRunRowFunc)(Image* image, int row, int a, int b, int c);
typedef int (*ImageUnpackFunc)(Image* image);
typedef void (*ImageKernelFunc)(Image* image);
typedef void (*ImageRepackFunc)(uint32_t* source, void* target, int count);
typedef void (*ImageDitherFunc)(Image* image, int out_row);

struct Image {
    int32_t type;            /* format type code; -1 after reset */
    int32_t depth;           /* bits per pixel of a row as delivered */
    int32_t file_depth;      /* bits per sample as stored, where it differs */
    uint32_t byte_order;     /* 0x4949: rows already in host order */
    int32_t rows;
    int32_t columns;
    int32_t nbands;
    int32_t row_bytes;       /* stride of one row in the file */
    int32_t data_bytes;
    int32_t bandgap;
    uint8_t* aux_buffer;
    uint32_t io_pos;         /* running file position, base of relative seeks */
    uint32_t io_mark;
    uint32_t io_row;
    int32_t band;
    int32_t red_band;
    int32_t blue_band;       /* stands before green in the record */
    int32_t green_band;
    uint8_t* file_buffer;
    uint8_t* file_buffer2;
    uint8_t* file_buffer3;
    uint8_t* file_buffer4;
    uint8_t* buf8;
    uint16_t* buf16;
    uint32_t* buf32;
    uint8_t* row8;
    uint16_t* row16;
    uint32_t* row32;
    uint8_t* mbuf8[3];
    uint16_t* mbuf16[3];
    uint32_t* mbuf32[3];
    uint8_t* mrow8[3];
    uint16_t* mrow16[3];
    uint32_t* mrow32[3];
    uint32_t* gbuf;
    uint32_t* mgbuf[3];
    uint32_t* gbuf2;
    uint32_t* grow;
    uint32_t* mgrow[3];
    uint32_t* grow2;
    ImageRowFunc get_row;
    ImageRunRowFunc get_row_runs;   /* row function of run-mode drivers */
    ImageUnpackFunc unpack;
    ImageKernelFunc lookup;
    ImageKernelFunc index;
    ImageKernelFunc resample;
    ImageRepackFunc repack;
    int32_t direct_resampling;
    int32_t row_resampled;
    int32_t raw_values;
    uint8_t dither_on;
    ImageDitherFunc dither;
    FILE* file;
    void* file2;
    Colormap colormap;
    Lut lut;
    int32_t first_col, first_row, last_col, last_row;
    float col_origin, row_origin;
    int32_t win_rows, win_cols;
    int32_t first_byte, first_bit;
    int32_t last_byte, last_bit;
    int32_t win_bytes;
    int32_t win_longs;
    int32_t mirror_first_col, mirror_last_col;
    int32_t out_x, out_y, out_last_x, out_last_y;
    int32_t out_rows, out_cols;
    int32_t* col_map;
    uint32_t* clr_table;
    void* clyr;
    void* screen;
    int32_t screen_depth;
    void* bitmap_bits;
    uint8_t** bitmap_rows;
    int32_t bitmap_height;
    void* bitmap;
    void* driver;
    int32_t read_open, write_open;
    int32_t multi_in, multi_out;
    int32_t runio_in, runio_out;
    int32_t rd_type;
    int32_t rd_on;
    int32_t getrow_depth;
    int32_t putrow_depth;
};

TARN_END_C

#endif
