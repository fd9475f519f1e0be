#ifndef TARN_DRIVERS_GENERAL_JFIF_H
#define TARN_DRIVERS_GENERAL_JFIF_H

/* JFIF: plain JPEG files of 8-bit samples, one band per component. */

#include <stdio.h>

#include "udf/udf.h"

TARN_BEGIN_C

int JFIF_exist(const char* name, char* out_path, FILE* fp);
int JFIF_open(const char* name, int band, int red, int green, int blue, UDFHeader* header);
int JFIF_close(UDFHeader* header);
int JFIF_getrow(int row, void* buffer, UDFHeader* header);

TARN_END_C

#endif
