#ifndef TARN_DRIVERS_BUILTIN_ERDAS_H
#define TARN_DRIVERS_BUILTIN_ERDAS_H

/* ERDAS LAN and GIS files, type code 3: a 128-byte header, then rows
 * interleaved by line in 4, 8 or 16 bits. open_ERDAS and open_multi_ERDAS are
 * declared with the other opens in drivers.h. */

#include <stdint.h>
#include <tarnimage/image.h>

TARN_BEGIN_C

/* The header as read, with the fields the driver uses in host order. */
typedef struct ErdasHeader {
    uint8_t bytes[128];    /* the file's header, untouched */
    uint16_t pack_type;    /* 0 8 bits, 1 4 bits, 2 16 bits */
    uint16_t band_count;
    int32_t width;         /* truncated from the reals of a "HEADER" file */
    int32_t height;
    float width_real;      /* the size fields as reals ("HEADER" only) */
    float height_real;
    uint16_t map_type;
    float map_x, map_y;    /* centre of the first pixel */
    float cell_x, cell_y;
    int32_t byte_order;    /* 0x4949 "HEAD74", 0x4D4D "HEADER", -1 neither */
    int32_t valid;         /* set once the header was read; cleared at channel close */
} ErdasHeader;

/* Fills `header` from 128 header bytes: 0x4949 for "HEAD74", 0x4D4D for
 * "HEADER", -1 for anything else (the fields then read as little-endian). */
int swap_erdas_header_for_read(ErdasHeader* header);
/* 1 when 128 bytes were read (whatever the magic), else -1. */
int read_erdas_header(const char* path, ErdasHeader* header);
/* 0 for ".gis"/".GIS", 1 for ".lan"/".LAN", 2 for anything else. */
int Get_Erdas_Type(const char* path);
/* Kind 0: the ".trl" beside the image, else ".TRL"; kind 1: ".sta", else
 * ".STA". `out` holds strlen(path) + 1 bytes. Always 0. */
int Get_Erdas_Trailer_Name(int kind, const char* path, char* out);

/* Property members: 1 on success, -1 on failure. */
int get_ERDAS_info(const char* name, int* rows, int* columns, int* bands, int* depth);
int read_ERDAS_extent(const char* name, int* rows, int* columns);
int read_ERDAS_nbands(const char* name, int* bands);
int get_ERDAS_depth(const char* name, int* depth);
/* 1 with the header's cell sizes and first pixel for map types 1 to 20 and
 * 99; -1 otherwise. */
int read_ERDAS_header_trans(const char* name, int type, double* transform);

/* A copy of the header and, when colormap_out is set, of the colormap record:
 * 0, or -1 while no header is held. */
int rdhdr_ERDAS(Image* image, ErdasHeader* header_out, Colormap* colormap_out);
int clrrd_ERDAS_hdr(Image* image);

/* Row functions: 0, or -1. */
int Get_Erdas_Standard_Row(Image* image, int row);
int Get_Erdas_Multi_Row(Image* image, int row);
int Get_Erdas_4Bit_Row(Image* image, int row);

/* Unpackers: 0, or -1 when what they would touch lies outside their buffers. */
int Unpack_Erdas_4_Bit_Data(Image* image);
int Unpack_Erdas_8_Bit_Data(Image* image);
int Unpack_Erdas_16_Bit_Data(Image* image);
int Unpack_Erdas_4_Bit_Full(Image* image);
int Unpack_Erdas_8_Bit_Full(Image* image);
int Unpack_Erdas_16_Bit_Full(Image* image);
int Unpack_Erdas_4_Bit_Multi_Data(Image* image);
int Unpack_Erdas_8_Bit_Multi_Data(Image* image);
int Unpack_Erdas_16_Bit_Multi_Data(Image* image);

TARN_END_C

#endif
