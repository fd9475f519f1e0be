#ifndef TARN_DRIVERS_BUILTIN_STANDARD_H
#define TARN_DRIVERS_BUILTIN_STANDARD_H

/* Raw band files beside a text header, type codes 8 (BIL), 9 (BIP) and 11
 * (BSQ). open_STANDARD and open_multi_STANDARD are declared with the other
 * opens in drivers.h; the writers and the header record are public in
 * <tarnimage/standard.h>. */

#include <stdint.h>
#include <stdio.h>
#include <tarnimage/image.h>
#include <tarnimage/standard.h>

TARN_BEGIN_C

/* Side file names: the path without its last four characters plus the
 * lower-case suffix, else the upper-case one; 1 when that file exists,
 * else -1. `out` holds strlen(path) + 5 bytes. The colour file's name is
 * the channel's get_standard_color_name. */
int get_standard_header_name(const char* path, char* out);
int get_standard_stats_name(const char* path, char* out);


/* 1, or -1 when there is no header or a value does not parse. */
int read_standard_header(const char* path, StandardHeader* header);
/* The number of entries built (first_index + value span), 0 when no line
 * gave an entry, -1 when the file does not open or spans too many values.
 * The three arrays come from malloc. */
int read_standard_colors(const char* file_name, uint8_t* rgb[3], int* low, int* high,
                         int first_index);
int read_standard_colormap(const char* path, uint8_t* rgb[3], int* low, int* high);
/* The arrays hold STANDARD_STAT_SLOTS entries. 1, or -1 without a file. */
int read_standard_stats(const char* file_name, int32_t* present, float* min, float* max,
                        float* mean, float* stddev, float* low, float* high);
int read_standard_statistics(const char* path, int32_t* present, float* min, float* max,
                             float* mean, float* stddev, float* low, float* high);

/* Property members, 1 or -1. */
int get_STANDARD_info(const char* name, int* rows, int* columns, int* bands, int* depth);
int read_STANDARD_extent(const char* name, int* rows, int* columns);
int read_STANDARD_nbands(const char* name, int* bands);
int get_STANDARD_depth(const char* name, int* depth);
/* 1 with xdim, 0, 0, -ydim, ulxmap, ulymap when the header has both map
 * keys; 0 without them; -1 when the header does not read. */
int read_STANDARD_header_trans(const char* name, int type, double* transform);

/* A copy of the header read by the open and, when colormap_out is set, of
 * the colormap record: 0, or -1 while no header is held. */
int rdhdr_STANDARD(Image* image, StandardHeader* header_out, Colormap* colormap_out);

/* Row functions: 0, or -1. */
int Get_StandardBIL_Row(Image* image, int row);
int Get_Standard_Multi_Row(Image* image, int row);
int Get_Standard_Multi_BSQ_Row(Image* image, int row);

/* Unpackers: 0, or -1 when the bytes or rows they would touch lie outside
 * their buffers. file_buffer holds row_bytes (the BSQ full and multi forms:
 * nbands * row_bytes), rounded up to whole words. */
#define TARN_STANDARD_UNPACKERS(X, layout)                                                     \
    X(layout, 1, Data) X(layout, 4, Data) X(layout, 8, Data) X(layout, 16, Data)               \
    X(layout, 32, Data) X(layout, 4, Multi_Data) X(layout, 8, Multi_Data)                      \
    X(layout, 16, Multi_Data) X(layout, 32, Multi_Data) X(layout, 1, Full) X(layout, 4, Full)  \
    X(layout, 8, Full) X(layout, 16, Full) X(layout, 32, Full)
#define TARN_STANDARD_DECLARE(layout, n, form) int Unpk_Std##layout##_##n##_Bit_##form(Image* image);
TARN_STANDARD_UNPACKERS(TARN_STANDARD_DECLARE, BIL)
TARN_STANDARD_UNPACKERS(TARN_STANDARD_DECLARE, BSQ)
/* BIP has no 1-bit forms. */
int Unpk_StdBIP_4_Bit_Data(Image* image);
int Unpk_StdBIP_8_Bit_Data(Image* image);
int Unpk_StdBIP_16_Bit_Data(Image* image);
int Unpk_StdBIP_32_Bit_Data(Image* image);
int Unpk_StdBIP_4_Bit_Multi_Data(Image* image);
int Unpk_StdBIP_8_Bit_Multi_Data(Image* image);
int Unpk_StdBIP_16_Bit_Multi_Data(Image* image);
int Unpk_StdBIP_32_Bit_Multi_Data(Image* image);
int Unpk_StdBIP_4_Bit_Full(Image* image);
int Unpk_StdBIP_8_Bit_Full(Image* image);
int Unpk_StdBIP_16_Bit_Full(Image* image);
int Unpk_StdBIP_32_Bit_Full(Image* image);

TARN_END_C

#endif
