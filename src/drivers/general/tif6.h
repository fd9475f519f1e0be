#ifndef TARN_DRIVERS_GENERAL_TIF6_H
#define TARN_DRIVERS_GENERAL_TIF6_H

/* TIFF through libtiff: every compression libtiff decodes, strips and tiles,
 * delivered as 8-bit rows of one plane (grey) or three (everything else). */

#include <stdint.h>
#include <tiffio.h>

#include "udf/udf.h"

struct UDF_TIFFImage;
struct YCbCrConversion;

/* Writes h rows of w pixels of a block from decoded samples. `dest` is the
 * block buffer (32-bit pixels, or bytes for grey), `at` the pixel the first row
 * starts on and `toskew` the pixels from one row's start to the next (negative
 * walks up); `fromskew` is the bytes from one source row to the next. */
typedef void (*TIFFPutFunc)(const UDF_TIFFImage* image, void* dest, int64_t at, int64_t toskew, uint32_t w,
                            uint32_t h, int64_t fromskew, const uint8_t* const src[4]);

struct UDF_TIFFImage {
    TIFF* tif;
    int stoponerr;
    int isContig;
    int alpha;  // 0 none, 1 associated, 2 unassociated
    uint32_t width;
    uint32_t height;
    uint16_t bitspersample;
    uint16_t samplesperpixel;
    uint16_t orientation;
    uint16_t photometric;
    uint16_t planarconfig;
    uint16_t* redcmap;  // owned copies, 8-bit values after conversion
    uint16_t* greencmap;
    uint16_t* bluecmap;
    TIFFPutFunc put;
    uint8_t* Map;
    uint32_t** BWmap;
    uint32_t** PALmap;
    YCbCrConversion* ycbcr;
    uint16_t ycbcr_h, ycbcr_v;  // subsampling of the chosen YCbCr put
};

TARN_BEGIN_C
int TIF6_exist(const char* name, char* out_path, FILE* fp);
int TIF6_open(const char* name, int band, int red, int green, int blue, UDFHeader* header);
int TIF6_close(UDFHeader* header);
int TIF6_getrow(int row, void* out, UDFHeader* header);
TARN_END_C

/* 1 when the driver can read the directory, else 0 with the reason in message
 * (at least 1024 bytes). II_TIFFImageOK is the narrower test without the
 * compression check. */
int UDF_TIFFImageOK(TIFF* tif, char* message);
int II_TIFFImageOK(TIFF* tif, char* message);
/* Fills the decoding state and picks its put function (null when none reads
 * the combination). 1, or 0 with message formatted. */
int UDF_TIFFImageBegin(UDF_TIFFImage* image, TIFF* tif, int stoponerr, char* message);
void UDF_TIFFImageEnd(UDF_TIFFImage* image);

#endif
