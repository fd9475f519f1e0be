#ifndef TARN_DRIVERS_MILITARY_NITF_JPEG_H
#define TARN_DRIVERS_MILITARY_NITF_JPEG_H

/* JPEG-compressed image segments of NITF files (IC "C3", "M3"): rows of a
 * single-block image decoded forward, and whole blocked images decoded once
 * per process into a shared cache that serves rows in any order.
 *
 * Blocks may carry no tables of their own: slot 0 takes the built-in Huffman
 * tables where the stream defines none, and the default quantisation table
 * that the fourth character of COMRAT names (1 to 5). Every failure of
 * libjpeg, of the file or of memory is -1; nothing ends the process. */

#include <stddef.h>
#include <stdint.h>

#include "drivers/general/jpeg_rows.h"
#include "drivers/military/nitf_file.h"

struct JPEGRowState {
    jpeg_decompress_struct cinfo;
    JPEGErrorManager jerr;
    JPEGFileSource source;
    JSAMPARRAY scanline;
    int row_samples;
    int green_offset, blue_offset;
    int initialised;  /* cinfo holds a decoder */
    int started;      /* a decompression cycle is open */
    int failed;       /* libjpeg failed or the bytes ran out: every later call fails */
};

/* Creates the decoder on the data of image `image_index` and starts its first
 * stream. */
int JPEGinit(NITFFile* file, NITFImageSubHeader* subheader, int image_index, JPEGRowState* state);
/* The same, with the stream at `offset` of the file and at most `limit` bytes. */
int JPEGinitAt(NITFFile* file, NITFImageSubHeader* subheader, long offset, long limit, JPEGRowState* state);
/* Finishes the stream being read and starts the one behind it. */
int ResetJPEG(NITFFile* file, NITFImageSubHeader* subheader, JPEGRowState* state);
/* Decodes forward until `row_count` lines (counted from 1) have been read and
 * splits the last into planes of `out_width` bytes. */
int GetJPEGRow(NITFFile* file, NITFImageSubHeader* subheader, const int select[3], int nselected, int row_count,
               void* out, int out_width, JPEGRowState* state);
void JPEGclose(NITFImageSubHeader* subheader, JPEGRowState* state);

/* A blocked image decoded whole: `rows` rows of `planes` planes of `width`
 * bytes, in memory or in an unlinked temporary file. Owned by the cache. */
struct NITFDecodedImage;

/* The decoded image of this file's first image with this band selection,
 * decoded now if no open in the process has asked for it yet (the key is the
 * file's real path, size and modification time, and the selection). A failed
 * decode is kept too, and every row of it fails. Null when the path can't be
 * resolved. */
NITFDecodedImage* ReadBlockedJPEG(const char* path, NITFFile* file, NITFImageSubHeader* subheader,
                                  const int select[3], int nselected);
/* Row `row` of a decoded image into `out`, planes one after another; 0 or -1. */
int GetRowFromFile(NITFDecodedImage* image, int row, void* out);

/* Frees every decoded image: when the last manager goes. */
void NITF_ReleaseDecodedImages(void);
/* For tests: how many blocked images this process has decoded, and the size
 * up to which a decoded image is held in memory (larger ones go to a file). */
int NITF_DecodedImageCount(void);
void NITF_SetDecodedMemoryLimit(size_t bytes);

#endif
