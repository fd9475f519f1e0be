#ifndef TARN_DRIVERS_MILITARY_SRP_H
#define TARN_DRIVERS_MILITARY_SRP_H

/* ASRP and USRP images: one 8-bit band in tiles of 128 x 128 pixels, described
 * by the product's general information file and quality file. */

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include "udf/udf.h"

TARN_BEGIN_C

int SRP_exist(const char* name, char* out_path, FILE* fp);
int SRP_open(const char* name, int band, int red, int green, int blue, UDFHeader* header);
int SRP_close(UDFHeader* header);
int SRP_getrow(int row, void* buffer, UDFHeader* header);

/* Product name, zone, ARV, BRV, origin and tile counts of the image's
 * general information record, each followed by ';', or "ERROR". The text is
 * one buffer per process, overwritten by every call. */
TARN_EXPORT char* GetDigestGenMetaData(char* name);

TARN_END_C

enum { SRP_TILE_SIDE = 128, SRP_TILE_BYTES = 128 * 128 };

/* Decodes one run-length tile of the given pixel count and value bits from
 * the `size` bytes at data into out (SRP_TILE_BYTES, zeroed by the caller).
 * ws1 and ws2 are the values of the second and the first run of a bi-level
 * coding. 0 on success, -1 when the data end before the 128th line. */
int srp_decode_runs(const uint8_t* data, size_t size, int pcb, int pvb, int ws1, int ws2, uint8_t* out);
/* The same for the raw codings (pcb 0, pvb 8 or 4). */
int srp_decode_raw(const uint8_t* data, size_t size, int pvb, uint8_t* out);

#endif
