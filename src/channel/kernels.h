#ifndef TARN_CHANNEL_KERNELS_H
#define TARN_CHANNEL_KERNELS_H

/* Row kernels: between a driver's get_row and colouring, each row passes
 * lookup (the LUT), index (the colormap range) and resample (output columns
 * through col_map). One member per sample width and band form, chosen once
 * per open so that the row loop has no branch on depth. */

#include <stdint.h>
#include <tarnimage/image.h>

TARN_BEGIN_C

/* Selection. Each answers 1. */
int allocate_lookup(Image* image);
int allocate_multi_lookup(Image* image);
int allocate_resamplers(Image* image);
int allocate_multi_resamplers(Image* image);
int allocate_resamplers_push(Image* image);
int allocate_multi_resamplers_push(Image* image);

/* lookup slot */
void Lookup8BitBuf(Image* image);
void Lookup16BitBuf(Image* image);
void Lookup32BitBuf(Image* image);
void LookupResampleBuf(Image* image);
void Lookup8BitMultibuf(Image* image);
void Lookup16BitMultibuf(Image* image);
void Lookup32BitMultibuf(Image* image);
void LookupMultiResampleBuf(Image* image);
void LookupNoOp(Image* image);

/* Scaling to 8 bits by the colormap's step and minimum, installed in the
 * lookup slot by drivers of 16- and 32-bit data. */
void Scale16BitBuf(Image* image);
void Scale32BitBuf(Image* image);
void Scale16BitMultibuf(Image* image);
void Scale32BitMultibuf(Image* image);

/* index slot */
void Index8BitBuf(Image* image);
void Index16BitBuf(Image* image);
void Index32BitBuf(Image* image);
void IndexResampleBuf(Image* image);
void IndexNoOp(Image* image);

/* resample slot */
void Resample8BitBuf(Image* image);
void Resample16BitBuf(Image* image);
void Resample32BitBuf(Image* image);
void Resample8BitMultibuf(Image* image);
void Resample16BitMultibuf(Image* image);
void Resample32BitMultibuf(Image* image);
void ResampleCMap8BitBuf(Image* image);
void ResampleCMap16BitBuf(Image* image);
void ResampleCMap32BitBuf(Image* image);
void ResampleCMapInPlace(Image* image);
void ResampleNoOp(Image* image);

/* Members with a given index array and count, for the display pipeline. */
void Resample_Firstfit_8(Image* image, const int32_t* index, int count);
void Resample_Firstfit_16(Image* image, const int32_t* index, int count);
void Resample_Firstfit_32(Image* image, const int32_t* index, int count);
void Resample_Color_Lookup(Image* image, int count);
void Resample_Transparent_FG(Image* image, uint32_t* target, int count);
void Resample_Transparent_Mask(Image* image, uint32_t* target, int count, uint32_t value);
void Resample_Dither_8(Image* image, const int32_t* index, int count);
void Resample_Dither_16(Image* image, const int32_t* index, int count);
void Resample_Dither_32(Image* image, const int32_t* index, int count);
void Resample_Multi_8(Image* image, const int32_t* index, int count);
void Resample_Multi_16(Image* image, const int32_t* index, int count);
void Resample_Multi_32(Image* image, const int32_t* index, int count);
void Resample_Copy_8(Image* image, int count);
void Resample_Copy_16(Image* image, int count);
void Resample_Copy_32(Image* image, int count);
void Resample_Multi_Copy_8(Image* image, int count);
void Resample_Multi_Copy_16(Image* image, int count);
void Resample_Multi_Copy_32(Image* image, int count);

/* The word at `index` of the per-band scaling view that the multi-band
 * scalers read: band_low[3], band_high[3], band_step[3] of the colormap, then
 * the words of the lut record (its name, is_single, and per channel enabled,
 * low, high, table, float_low, float_high), then 0. */
uint32_t scale_record_word(const Image* image, long index);

TARN_END_C

#endif
