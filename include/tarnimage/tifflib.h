#ifndef TARNIMAGE_TIFFLIB_H
#define TARNIMAGE_TIFFLIB_H

/* A TIFF reader and writer on the level of tags: it opens a file, reads or
 * builds image file directories (IFDs), looks tags up and reads or writes
 * their data. It knows nothing of images. The library reads with it; the
 * write side is for a host that makes such files.
 *
 * Results: 1 (or a byte count) on success, 0 or null on failure. Every call
 * refills the TifError it is given, so a caller passes the same one
 * throughout. Messages go to the host's message handler only. */

#include <stdint.h>
#include <stdio.h>
#include <tarnimage/export.h>

TARN_BEGIN_C

#define TIF_MAGIC 47806u     /* a live TifFile */
#define TIF_MAX_IFDS 32
/* The most tags one IFD may have: its size must fit 16 bits. */
#define TIF_MAX_TAGS 5460
#define TIF_NOT_FOUND 65535u

/* Modes of tifReadData and tifWriteData. */
#define TIF_DATA_TAG 0       /* the tag's count and value field */
#define TIF_DATA_ITEMS 2     /* items at the value's offset, in host order */
#define TIF_DATA_BYTES 3     /* bytes, going on where the last call stopped */
#define TIF_DATA_STRIP 5     /* the bytes at the index-th offset of the tag */

/* Three flags every call fills: the file's order differs from the host's,
 * the call writes, the host order passed is big-endian. */
typedef struct TifError {
    uint16_t swap;
    uint16_t writing;
    uint16_t big;
} TifError;

/* One tag as in the file's 12 bytes, in host order. A value that fits the
 * field (up to four bytes) stands in it as the file has it; a single SHORT
 * stands in the low half. */
typedef struct TifTag {
    uint16_t tag;
    uint16_t type;
    uint32_t count;
    uint32_t value;
} TifTag;

typedef struct TifIfd {
    uint32_t offset;     /* where it lies in the file */
    uint16_t capacity;
    uint16_t count;
    uint32_t next;       /* offset of the next IFD as read */
    TifTag* tags;        /* capacity entries */
} TifIfd;

typedef struct TifFile {
    uint16_t magic;      /* TIF_MAGIC while live */
    uint16_t host_order; /* 0x4949 or 0x4D4D, as the caller passed it */
    uint16_t writing;
    FILE* file;
    int32_t file_dirty;  /* set by tifMakeIFD: tifClose then writes */
    uint32_t next_free;  /* allocation point in the file */
    uint32_t last_ifd;   /* offset of the IFD of the latest byte or strip read */
    uint32_t last_tag;
    uint32_t last_index;
    uint16_t file_order;
    uint16_t version;
    uint32_t first_ifd;
    TifIfd* ifds[TIF_MAX_IFDS];
} TifFile;

/* mode 0 reads (the header must carry `version`), 1 writes. Null on failure. */
TARN_EXPORT TifFile* tifOpen(FILE* file, int host_order, int version, int mode, TifError* error);
/* The first IFD of the file; the record holds one read IFD, so a second call
 * answers null. */
TARN_EXPORT TifIfd* tifReadIFD(TifFile* tif, int* count_out, TifError* error);
/* An empty IFD of room for `capacity` tags, placed at the next free offset. */
TARN_EXPORT TifIfd* tifMakeIFD(TifFile* tif, int capacity, TifError* error);
TARN_EXPORT int tifReadTag(TifFile* tif, TifIfd* ifd, int tag, uint32_t* count_out,
                           uint32_t* value_out, TifError* error);
TARN_EXPORT int tifReadNTag(TifFile* tif, TifIfd* ifd, int index, int* tag_out, int* type_out,
                            uint32_t* count_out, uint32_t* value_out, TifError* error);
/* By mode (TIF_DATA_*): 1 or 0 for modes 0 and 2, the bytes read for 3 and 5.
 * `count` is items for mode 2 (the buffer holds them at 4 bytes for types
 * 4 and 9, 8 for 5, 10 and 12), bytes otherwise. */
TARN_EXPORT long tifReadData(TifFile* tif, TifIfd* ifd, int tag, uint32_t index, void* buffer,
                             uint32_t count, int mode, TifError* error);
/* Adds the tag, or replaces the count and value of one the IFD has. 1 or 0. */
TARN_EXPORT int tifWriteTag(TifFile* tif, TifIfd* ifd, int tag, int type, uint32_t count,
                            uint32_t value, TifError* error);
/* Mode 2: writes `count` items of the tag's type from host order, in the value
 * field when they fit, else at a fresh offset, and sets the tag's count. Mode
 * 5: writes `count` bytes at a fresh offset and stores it as the index-th
 * entry of the tag (a LONG array the tag already has room for). 1 or 0. */
TARN_EXPORT int tifWriteData(TifFile* tif, TifIfd* ifd, int tag, uint32_t index,
                             const void* buffer, uint32_t count, int mode, TifError* error);
/* Writes the header and the IFDs (tags sorted) of a file made with
 * tifMakeIFD; writes nothing for one opened to read. Frees the record, and
 * closes the file if close_file is not 0. 1, or 0 for a bad record. */
TARN_EXPORT int tifClose(TifFile* tif, int close_file, TifError* error);
/* Frees the record and its IFDs without writing. */
TARN_EXPORT void tifExit(TifFile* tif);

TARN_EXPORT int tifBytesPerType(int type);
TARN_EXPORT int uIsByteSwap(const TifFile* tif);
/* The next free offset, moved on by size; -1 for a bad record. */
TARN_EXPORT long tifAlloc(TifFile* tif, uint32_t size);
TARN_EXPORT uint16_t findW(const uint16_t* words, uint16_t value, int count);
TARN_EXPORT int tifSearchTags(const TifTag* tags, int tag, int count, uint16_t* index_out);
TARN_EXPORT void tifSortTags(TifTag* tags, int count);
TARN_EXPORT void tifSwapTags(const TifError* error, TifTag* tags, int count);

TARN_EXPORT uint16_t uSwapWord(const TifError* error, uint16_t value);
TARN_EXPORT uint32_t uSwapLong(const TifError* error, uint32_t value);
TARN_EXPORT double uSwapDouble(const TifError* error, double value);
/* A SHORT in a 32-bit value field. */
TARN_EXPORT uint32_t uSwapValue(const TifError* error, uint32_t value);
TARN_EXPORT void uSwapWords(const TifError* error, uint16_t* values, uint32_t count);
TARN_EXPORT void uSwapLongs(const TifError* error, uint32_t* values, uint32_t count);
TARN_EXPORT void uSwapDoubles(const TifError* error, double* values, uint32_t count);

TARN_END_C

#endif
