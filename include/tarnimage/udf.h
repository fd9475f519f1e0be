#ifndef TARNIMAGE_UDF_H
#define TARNIMAGE_UDF_H

/* Registered drivers. A driver is four entry points described by a UDFRecord;
 * II_RegisterUDF gives it a type code above 1000, and from then on format
 * identification asks its `exist` about every file that no built-in format
 * claimed by extension or content, in registration order. The library
 * registers its own drivers when the first manager starts and removes them
 * when the last one goes; a host may add its own in between.
 *
 * The registry has no lock: register and unregister while no image is being
 * opened. At most 32 drivers are registered at once. */

#include <stdint.h>
#include <stdio.h>
#include <tarnimage/export.h>

TARN_BEGIN_C

/* What a driver's open reports about an image; it lives from open to close.
 * Rows come from getrow in the host's byte order. */
typedef struct UDFHeader {
    double origin_x;      /* world x of the image origin */
    double origin_y;      /* world y of the image origin */
    double pixel_x;       /* world width of a pixel */
    double pixel_y;       /* world height of a pixel, positive */
    double scale;         /* deep data to 8 bits, single-band open; 0 lets the library choose */
    double band_scale[3]; /* the same for the three planes of a multi-band open */
    uint32_t type;        /* the driver's type code */
    int32_t depth;        /* bits per pixel of a row: 1, 4, 8, 16 or 32 */
    int32_t rows;
    int32_t columns;
    int32_t nbands;       /* bands in the file */
    int32_t ncolors;      /* entries of the colour table, 0 when there is none */
    int32_t low_index;    /* first pixel value that has a colour */
    int32_t high_index;   /* last pixel value that has a colour */
    int32_t data_min;     /* subtracted before scaling, single-band open */
    int32_t data_max;
    int32_t band_min[3];  /* data_min of the planes of a multi-band open */
    int32_t band_max[3];
    uint8_t* red;         /* colour tables of ncolors entries or null; the driver owns them */
    uint8_t* green;
    uint8_t* blue;
    void* priv;           /* the driver's own state */
} UDFHeader;

/* Gives the type code to accept, 0 to decline. fp is the file opened for
 * reading and sought to its start, or null when the name could not be opened;
 * the driver must not close it. A driver that accepts writes the path to open
 * into out_path (the name itself, or the name with a suffix it tried); out_path
 * starts as a copy of name and has room for strlen(name) + 256 bytes and at
 * least TARN_UDF_PATH_MAX. An exception thrown out of exist counts as a
 * decline. */
typedef int (*UDFExistFunc)(const char* name, char* out_path, FILE* fp);
/* Negative on failure. Band numbers count from 1: band > 0 alone selects one
 * band; band 0 with red, green, blue selects three; all four at 0 asks for the
 * file's own bands. The open zeroes the header before filling it. */
typedef int (*UDFOpenFunc)(const char* name, int band, int red, int green, int blue,
                           UDFHeader* header);
/* Releases all the open took, including priv, and sets priv to null. */
typedef int (*UDFCloseFunc)(UDFHeader* header);
/* Writes image row `row` (0 is the top) into buffer: every column of every
 * band asked for, each band starting on a byte boundary. Negative on failure. */
typedef int (*UDFGetRowFunc)(int row, void* buffer, UDFHeader* header);

#define TARN_UDF_PATH_MAX 4096

/* The description of a driver, as handed to II_RegisterUDF. The registry keeps
 * its own copies of the four strings; the suffix is stored in lower case and
 * without a dot. */
typedef struct UDFRecord {
    uint32_t type;        /* written by II_RegisterUDF; 0 marks a free slot */
    UDFExistFunc exist;
    UDFOpenFunc open;
    UDFCloseFunc close;
    UDFGetRowFunc getrow;
    uint32_t spare1;      /* kept but never read; pass 0 */
    uint32_t spare2;
    char* keyword;        /* format keyword, matched by type_from_keyword */
    char* suffix;         /* file suffix without the dot */
    char* description;    /* text of a file dialogue */
    char* filter;         /* file-dialogue filter such as "*.gif" */
} UDFRecord;

/* Registers a driver and writes its type code into record->type. Codes start
 * at 1001 and are never handed out twice in a process, even after the driver
 * is removed. Gives the code, or 0 when 32 drivers are already registered. */
TARN_EXPORT uint32_t II_RegisterUDF(UDFRecord* record);
/* Removes the driver of that code; an unknown code or 0 changes nothing. The
 * last registered slot moves into the freed one, so that driver is asked
 * earlier from then on. */
TARN_EXPORT void II_UnregisterUDF(uint32_t type);
/* Removes every driver, the library's own among them. */
TARN_EXPORT void II_UnregisterAllUDF(void);
/* The keyword of the driver registered under type, snprintf style: gives its
 * length and copies as much as fits into buffer (always terminated when size
 * is above 0), or -1 when no driver holds the code. */
TARN_EXPORT int II_GetUDFKeyword(uint32_t type, char* buffer, int size);

struct Image;
/* For an image record opened on a registered type: copies its colour map
 * record (the Colormap of <tarnimage/image.h>) into out when out is set, and
 * gives 0; -1 when no registered driver is open on the record. */
TARN_EXPORT int rdhdr_UDF(struct Image* image, int unused, void* out);
/* Marks no header as read; 0. */
TARN_EXPORT int clrrd_UDF_hdr(void);

TARN_END_C

#endif
