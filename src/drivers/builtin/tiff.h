#ifndef TARN_DRIVERS_BUILTIN_TIFF_H
#define TARN_DRIVERS_BUILTIN_TIFF_H

/* TIFF strips over the tag library, type code 7: reached only by an explicit
 * open with the code, as identification sends TIFF files to the registered
 * driver. open_multi_TIFF and close_TIFF are declared with the other opens in
 * drivers.h. Its row position lives in statics, so one type-7 image is open
 * at a time. */

#include <stdint.h>
#include <tarnimage/image.h>
#include <tarnimage/tifflib.h>

#include "drivers/builtin/decompress.h"

TARN_BEGIN_C

typedef struct TifHeader {
    uint32_t new_subfile;      /* 254, 255 */
    uint32_t width;            /* 256 */
    uint32_t length;           /* 257 */
    uint32_t bits;             /* 258; 8 for an accepted 8,8,8 */
    uint32_t compression;      /* 259 */
    uint32_t photometric;      /* 262 */
    uint32_t threshold;        /* 263 */
    uint32_t cell_width, cell_length;  /* 264, 265 */
    uint32_t fill_order;       /* 266; 2: bits of each byte reversed */
    char* document_name;       /* 269 to 272, each text with a terminating zero */
    char* description;
    char* make;
    char* model;
    uint32_t strip_count;      /* 273 */
    uint32_t* strip_offsets;
    uint32_t orientation;      /* 274 */
    uint32_t samples;          /* 277 */
    uint32_t rows_per_strip;   /* 278, at most `length` once checked */
    uint32_t byte_count_count; /* 279 */
    uint32_t* byte_counts;
    uint32_t min_sample, max_sample;   /* 280, 281 */
    double x_resolution, y_resolution; /* 282, 283 */
    uint32_t planar;           /* 284 */
    uint32_t group4_options;   /* 293 */
    uint32_t resolution_unit;  /* 296 */
    uint32_t predictor;        /* 317 */
    char* software;            /* 305 */
    uint32_t colormap_count;   /* 320 */
    uint16_t* colormap;
    int32_t valid;             /* set once the tags were accepted */
    FILE* file;
    TifFile* tif;
    TifIfd* ifd;
    /* The model tags as read: 33550 scale, 33922 first tie point, 34264 matrix. */
    int32_t has_scale, has_tiepoint, has_matrix;
    double scale[3];
    double tiepoint[6];
    double matrix[16];
    TifError tif_error;
    LZWData lzw;
    /* Beside the tags. */
    int32_t opti;              /* the make tag begins "OPTI" */
    int32_t display_mode;      /* the open's mode, as given to TifGetInit */
    int32_t all_bands;         /* a strip read takes every plane it needs */
    uint32_t file_size;
    int32_t strip_bytes;       /* bytes of the strip(s) in file_buffer */
    int32_t expanded_bytes;    /* bytes expanded into file_buffer2 */
    int32_t buffer_bytes;      /* room of file_buffer */
    int32_t buffer2_bytes;     /* room of file_buffer2 */
} TifHeader;

/* Single-band form; nothing in the library calls it. 1, or -1. */
int open_TIFF(Image* image, const char* name, int band, int mode);

/* Property members: 1, or -1 when the file or its first IFD can't be read. */
int get_TIFF_depth(const char* name, int* depth);
int read_TIFF_extent(const char* name, int* rows, int* columns);
int read_TIFF_nbands(const char* name, int* bands);
/* 1 when compression is 5, 0 when not, -1 when unreadable. */
int is_TIFF_LZW(const char* name);
/* 1 with the GeoTIFF or resolution transform of the file's first IFD; -1 when
 * the file or its IFD can't be read. */
int read_TIFF_header_trans(const char* name, int type, double* transform);

/* A copy of the header, or -1 while none is held. */
int rdhdr_TIFF(Image* image, TifHeader* header_out);

/* Reads strip `strip` (of every plane needed when all_bands is set) into
 * file_buffer: its bytes, or -1. */
int GetTifStrip(Image* image, int strip, int all_bands);
void FillOrder(int count, uint8_t* buffer);

int Get_Tif_Standard_Row(Image* image, int row);
int Get_Tif_PackBits_Row(Image* image, int row);
int Get_Tif_5_Compressed_Row(Image* image, int row);
int Get_Tif_2_Compressed_Row(Image* image, int row);
int Get_Tif_3_Compressed_Row(Image* image, int row);
int Get_Tif_4_Compressed_Row(Image* image, int row);

int Unpack_Tif_8Mult_Data(Image* image);
int Unpack_Tif_0xBit_Data(Image* image);
int Unpack_Tif_08Bit_Data(Image* image);
int Unpack_Tif_16Bit_Data(Image* image);
int Unpack_Tif_24Bit_Data(Image* image);
int Unpack_Tif_32Bit_Data(Image* image);

TARN_END_C

#endif
