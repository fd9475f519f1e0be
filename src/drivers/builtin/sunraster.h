#ifndef TARN_DRIVERS_BUILTIN_SUNRASTER_H
#define TARN_DRIVERS_BUILTIN_SUNRASTER_H

/* Sun raster files, type code 2: plain or byte-run-encoded rows of 1, 8, 16,
 * 24 or 32 bits with an optional RGB colour map. open_SUNRASTER and
 * open_multi_SUNRASTER are declared with the other opens in drivers.h. */

#include <stdint.h>
#include <tarnimage/image.h>

TARN_BEGIN_C

/* The eight header words in file order, host order after the read. */
typedef struct SunHeader {
    int32_t magic;
    int32_t width;
    int32_t height;
    int32_t depth;
    int32_t length;    /* bytes of raster data */
    int32_t type;      /* 0 plain, 1 plain with length, 2 byte-run-encoded */
    int32_t maptype;   /* 0 none, 1 RGB planes, 2 raw (refused) */
    int32_t maplength;
    int32_t valid;     /* set once the header was read; cleared at channel close */
} SunHeader;

/* 1, or -1 when the file does not open, is shorter than a header, or the
 * header gives sizes no image can have. */
int read_sun_header(const char* name, SunHeader* header);

/* Property members; 1 on success, -1 on failure. */
int get_SUNRASTER_info(const char* name, int* rows, int* columns, int* bands, int* depth);
int read_SUNRASTER_extent(const char* name, int* rows, int* columns);
int read_SUNRASTER_nbands(const char* name, int* bands);
int get_SUNRASTER_depth(const char* name, int* depth);

/* A copy of the header words and, when colormap_out is set, of the colormap
 * record. -1 while no header has been read, else 0. */
int rdhdr_SUN(Image* image, SunHeader* header_out, Colormap* colormap_out);

/* Row functions: 0, or -1 on failure. */
int Get_Sun_Standard_Row(Image* image, int row);
int Get_Sun_Run_Encoded_Row(Image* image, int row);
int Get_Sun_Unsupported_Row(Image* image, int row);
int Get_Sun_Multi24_Row(Image* image, int row);
int Get_Sun_Multi32_Row(Image* image, int row);
int Get_Sun_Comp24_Row(Image* image, int row);
int Get_Sun_Comp32_Row(Image* image, int row);
/* Decodes bytes first_byte .. first_byte + nbytes - 1 of a row into file_buffer. */
int Get_Sun_Decompressed_Bytes(Image* image, int row, int row_bytes, int first_byte, int nbytes);
/* Decodes forward without storing until io_pos is past target. */
int Position_Sun_Run_Encoded(Image* image, uint32_t target);

/* Unpackers: 0, or -1 when the record has no buffer to work on. */
int Unpack_Sun_1_Bit_Data(Image* image);
int Unpack_Sun_8_Bit_Data(Image* image);
int Unpack_Sun_16_Bit_Data(Image* image);
int Unpack_Sun_24_Bit_Single(Image* image);
int Unpack_Sun_32_Bit_Single(Image* image);
int Unpack_Sun_24_Bit_Full(Image* image);
int Unpack_Sun_32_Bit_Full(Image* image);
int Unpack_Sun_24_Bit_Multi(Image* image);
int Unpack_Sun_32_Bit_Multi(Image* image);
int Unpack_Sun_24_Bit_Data(Image* image);
int Unpack_Sun_32_Bit_Data(Image* image);

/* Packed 1-bit rows, most significant bit first, read as big-endian words:
 * one byte 0 or 1 per pixel of the window into row8. Shared with the BIL,
 * BIP and BSQ driver. */
int Unpack_Image_1_Bit_Data(Image* image);

TARN_END_C

#endif
