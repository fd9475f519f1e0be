#ifndef TARN_DRIVERS_BUILTIN_BMP_H
#define TARN_DRIVERS_BUILTIN_BMP_H

/* BMP files, type code 14: palette images of 1, 4 and 8 bits (plain, RLE8,
 * RLE4) and true colour of 16, 24 and 32 bits. open_BMP and open_multi_BMP
 * are declared with the other opens in drivers.h. */

#include <stdint.h>
#include <stdio.h>
#include <tarnimage/image.h>

TARN_BEGIN_C

/* The file header and the fields of the info header the driver uses; the
 * 12-byte header's 16-bit words are widened. */
typedef struct BmpHeader {
    uint32_t file_size;
    uint32_t data_offset;
    uint32_t header_size;
    int32_t width;
    int32_t height;        /* negative: rows run from the top */
    uint16_t planes;
    uint16_t bit_count;
    uint32_t compression;  /* 0 none, 1 RLE8, 2 RLE4, 3 and 6 bit fields */
    int32_t x_per_metre;
    int32_t y_per_metre;
    uint32_t colours_used;
    uint32_t masks[3];     /* red, green, blue */
    int32_t valid;
} BmpHeader;

/* Reads the headers from an open file, from its start: 1, or -1 when the
 * file is shorter than they are or does not begin with "BM". What was read
 * stays in `header` either way. */
int read_bmp_header(FILE* file, BmpHeader* header);

/* Property members: 0 on success, -1 only when the file does not open. */
int get_BMP_info(const char* name, int* rows, int* columns, int* bands, int* depth);
int read_BMP_extent(const char* name, int* rows, int* columns);
int read_BMP_nbands(const char* name, int* bands);
int get_BMP_depth(const char* name, int* depth);
/* Always -1: a BMP's resolution never places it. */
int read_BMP_header_trans(const char* name, int type, double* transform);

/* Row function: 0, or -1. */
int Get_BMP_Row(Image* image, int row);

TARN_END_C

#endif
