#ifndef TARN_DRIVERS_MILITARY_ADRG_H
#define TARN_DRIVERS_MILITARY_ADRG_H

/* ADRG: three 8-bit bands in tiles of 128 x 128 pixels, images and overviews
 * described by the rectangle's general information file, legends by their
 * source graphics file. */

#include <stdio.h>

#include "udf/udf.h"

TARN_BEGIN_C

int ADRG_exist(const char* name, char* out_path, FILE* fp);
int ADRG_open(const char* name, int band, int red, int green, int blue, UDFHeader* header);
int ADRG_close(UDFHeader* header);
int ADRG_getrow(int row, void* buffer, UDFHeader* header);
/* Frees an open's private state and closes its file. */
void ADRG_close_state(void* state);

TARN_END_C

#endif
