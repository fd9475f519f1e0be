#ifndef TARN_UDF_UDF_H
#define TARN_UDF_UDF_H

/* The registry of drivers with type codes above 1000, and the bridge from a
 * registered driver to the Image record. */

#include <stdio.h>
#include <tarnimage/image.h>
#include <tarnimage/udf.h>

TARN_BEGIN_C

/* Slots of the registry; the occupied ones are always 0 .. count - 1. */
#define UDF_MAX_DRIVERS 32

/* The slot holding type, or null. */
UDFRecord* UDFentry(uint32_t type);
/* The slot at index, or null when index is past the table or the slot is free;
 * walk from 0 until null. */
UDFRecord* UDFindex(uint32_t index);
/* The type of the first driver whose suffix is exactly `suffix` (lower case,
 * no dot), or 0. */
uint32_t UDFsuffix(const char* suffix);
/* Asks each driver in slot order, rewinding fp first; the first non-zero
 * answer is returned as it stands, 0 when every driver declined. out_path
 * must follow the room rule of UDFExistFunc. */
int UDFExist(const char* name, char* out_path, FILE* fp);
/* Zeroes the header; every driver's open calls it first. Gives 0. */
int UDFinitial(UDFHeader* header);

/* Register the library's drivers in their binding order, and remove them. */
int UDF_LibInit(void);
int UDF_LibExit(void);
int UDF_LibCanExit(void);

int open_UDF(Image* image, const char* name, int band, int display, int type);
int open_multi_UDF(Image* image, const char* name, int red, int green, int blue, int display,
                   int type);
int close_UDF(Image* image);
/* Installed as get_row: the driver's row into file_buffer, then unpack. */
int Get_UDF_Row(Image* image, int row);
/* Three-plane unpackers of deep data shown at 8 bits: each plane by its band's
 * scale and minimum, keeping the low 8 bits. */
int Unpk_StdBIL_16_Bit_Multi_Scale(Image* image);
int Unpk_StdBIL_32_Bit_Multi_Scale(Image* image);
/* Questions about a file by name, answered from one header slot that the
 * last name asked about filled: 0, or -1 when the driver could not open it. */
int read_UDF_extent(const char* name, int type, int* rows, int* columns);
int read_UDF_nbands(const char* name, int type, int* nbands);
int get_UDF_depth(const char* name, int type, int* depth);
int get_UDF_info(const char* name, int type, int* rows, int* columns, int* nbands, int* depth);
/* Non-zero when the registered driver of this type delivers every band in one row. */
int registered_all_bands_in_row(int type);
/* A registered driver's full transform of the file, or -1 when it has none. */
int registered_header_transform(int type, const char* name, double* transform);
/* The registered driver's header as a transform: pixel x, minus pixel y, origin. */
int read_UDF_header_trans(const char* name, int type, double* transform);

TARN_END_C

#endif
