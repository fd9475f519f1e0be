#ifndef TARN_DRIVERS_MILITARY_NITF_H
#define TARN_DRIVERS_MILITARY_NITF_H

/* NITF: the first image of a NITF 2.0 file other than a CADRG or CIB frame.
 * Uncompressed images (IC "NC", masked "NM") in IMODE B, P and S of 1 to 16
 * bits, and JPEG images (IC "C3", masked "M3") of 8 bits. */

#include <stdio.h>

#include "udf/udf.h"

TARN_BEGIN_C

int NITF_exist(const char* name, char* out_path, FILE* fp);
int NITF_open(const char* name, int band, int red, int green, int blue, UDFHeader* header);
int NITF_close(UDFHeader* header);
int NITF_getrow(int row, void* buffer, UDFHeader* header);

TARN_END_C

#endif
