#ifndef TARN_DRIVERS_MILITARY_RPF_VQ_H
#define TARN_DRIVERS_MILITARY_RPF_VQ_H

/* Rows of an RPF frame's spatial data, shared by the CADRG and CIB drivers:
 * 256 x 256 pixel subframes of 64 x 64 twelve-bit codes, each code a 4 x 4
 * kernel whose line t is a record of lookup table t, whose values are
 * entries of colour table 0. */

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include "drivers/military/nitf_file.h"
#include "drivers/military/rpf_frame.h"

TARN_BEGIN_C

enum {
    RPF_SUBFRAME_SIDE = 256,
    RPF_CODES_PER_LINE = 64,
    RPF_CODE_LINE_BYTES = 96,  /* 64 codes of 12 bits */
    RPF_SUBFRAME_BYTES = 6144, /* 64 code lines */
};

/* How a driver wants a row: `across` subframes make a subframe row (for the
 * mask and the regular spacing); `width` pixels of each of `nplanes` planes
 * are written, plane p at buffer + p * plane_stride, taking byte select[p]
 * of each colour entry. With a transparent code in the frame, a value equal
 * to it gives 0, and so does 216 when `d8_transparent` is set. */
typedef struct RPFRowLayout {
    int across;
    int width;
    long plane_stride;
    int nplanes;
    const int* select;
    int d8_transparent;
} RPFRowLayout;

/* The 64 codes of code line (row / 4) mod 64 of a stored subframe at
 * `offset` from the start of the spatial data: 0, or -1 when the line lies
 * outside the spatial data or the file. */
int RPF_ReadVQCodeLine(NITFFile* file, const RPFFrameFile* frame, uint32_t offset, int row, uint16_t* codes);

/* Image row `row` into `buffer`. Absent subframes give 0 in every plane.
 * -1 for a row the frame's tables, mask or spatial data can't give. */
int RPF_DecodeVQRow(NITFFile* file, const RPFFrameFile* frame, const RPFRowLayout* layout, int row,
                    uint8_t* buffer);

/* What a CADRG or CIB open keeps. */
typedef struct RPFFrameState {
    NITFFile file;
    NITFImageSubHeader subheader; /* image 0 */
    RPFFrameFile frame;
    int nselected;
    int select[3];
} RPFFrameState;

/* Non-zero when `fp` (or the file `name` when fp is null) is a NITF 2.0 file
 * whose first image identifier starts with the `n` bytes of `iid`. A caller's
 * handle stays open. */
int RPF_FrameIs(const char* name, FILE* fp, const char* iid, size_t n);

/* Opens `name` and reads image subheader 0 and the frame's tables. Gives 0,
 * or RPF_NO_FILE, RPF_NO_SUBHEADER or RPF_NO_FRAME with nothing left open
 * and `state` freed. */
enum { RPF_NO_FILE = -1, RPF_NO_SUBHEADER = -2, RPF_NO_FRAME = -3 };
int RPF_OpenFrame(const char* name, int format, RPFFrameState** state);
/* Frees all an open took; -1 when the file wouldn't close (nothing freed then). */
int RPF_CloseFrame(RPFFrameState* state);

TARN_END_C

#endif
