#ifndef TARN_DRIVERS_GENERAL_JPEG_ROWS_H
#define TARN_DRIVERS_GENERAL_JPEG_ROWS_H

/* What every reader of JPEG streams shares over the system libjpeg: an error
 * manager of its own per decoder, which never prints and turns a fatal error
 * into a longjmp to the caller's recovery point; a source that reads through
 * the file layer and notes when the file ended early; and the split of a
 * decoded line into planes. */

#include <setjmp.h>
#include <stdint.h>
#include <stdio.h>

#include <jpeglib.h>

/* One per decoder. Every call that may reach libjpeg runs after a setjmp on
 * `jump` in the calling function itself. */
struct JPEGErrorManager {
    jpeg_error_mgr pub;
    jmp_buf jump;
};

/* Installs the silent manager in `err` and returns it for cinfo->err. */
jpeg_error_mgr* jpeg_silent_errors(JPEGErrorManager* err);

enum { JPEG_SOURCE_BUFFER = 4096 };

/* libjpeg's whole-image buffers (progressive files) may take this much; a
 * frame that would need more fails instead of allocating it. */
#define JPEG_MEMORY_LIMIT (256L << 20)

/* Reads the stream from a file of the file layer, from where it stands. */
struct JPEGFileSource {
    jpeg_source_mgr pub;
    FILE* file;
    long left;  /* bytes the stream may still take, or -1 for the rest of the file */
    int ended;  /* the bytes ran out and an end marker was made up */
    JOCTET buffer[JPEG_SOURCE_BUFFER];
};

/* Attaches src to cinfo, reading `file` from its current position. */
void jpeg_file_source(j_decompress_ptr cinfo, JPEGFileSource* src, FILE* file);
/* The next bytes come from `offset`, at most `limit` of them (-1: no limit).
 * Gives 0, or -1 when the file can't be sought there. */
int jpeg_source_seek(JPEGFileSource* src, long offset, long limit);

/* Writes the samples `select[0..nselected)` of the pixels of one decoded line
 * (`width` pixels of `components` samples) as planes of `out_width` bytes
 * one after another; pixels past `width` are 0, pixels past `out_width` are
 * left out. Every select must be below components. */
void jpeg_split_line(const JSAMPLE* line, int width, int components, const int* select, int nselected,
                     uint8_t* out, int out_width);

#endif
