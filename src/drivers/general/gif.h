#ifndef TARN_DRIVERS_GENERAL_GIF_H
#define TARN_DRIVERS_GENERAL_GIF_H

/* GIF: the first image of a GIF87a or GIF89a file, one band of 8-bit indices
 * into a 256-entry colour table. */

#include <stdio.h>

#include "udf/udf.h"

TARN_BEGIN_C

/* Permission check for GIF's LZW decoding; always 1. */
int CheckGIFLZW(void);

int GIF_exist(const char* name, char* out_path, FILE* fp);
int GIF_open(const char* name, int band, int red, int green, int blue, UDFHeader* header);
int GIF_close(UDFHeader* header);
int GIF_getrow(int row, void* buffer, UDFHeader* header);

/* Pictures with more pixels than this are refused at open. */
#define GIF_MAX_PIXELS (1LL << 30)

TARN_END_C

#endif
