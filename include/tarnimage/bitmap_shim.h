#ifndef TARNIMAGE_BITMAP_SHIM_H
#define TARNIMAGE_BITMAP_SHIM_H

/* The bitmap interface of a screen, as the colour and buffer code asks it.
 * `owner` is the screen: during a read, the display state that the RGB path
 * passes, which answers from its own fields (depth, colour counts, row
 * buffer). Null or any other owner gets the answers of a 32-bit true colour
 * screen without a buffer. */

#include <tarnimage/export.h>

TARN_BEGIN_C

TARN_EXPORT void* TarnImage_CreateBitmap(void* owner, int width, int height);
TARN_EXPORT int TarnImage_GetBitmapBitsPerPixel(void* owner);
TARN_EXPORT int TarnImage_GetBitmapDepth(void* owner);
TARN_EXPORT void* TarnImage_GetBitmapBuffer(void* owner);
TARN_EXPORT int TarnImage_GetBitmapBytesPerLine(void* owner);
/* *free_count = 0, *colours = the second colour count, *levels = the first. */
TARN_EXPORT void TarnImage_DescribeColorMap(void* owner, int* colours, int* levels,
                                            int* free_count);
TARN_EXPORT void TarnImage_SetBitmapFrame(void* owner, void* unused, const int* pair);
TARN_EXPORT double TarnImage_QueryBitmapResFactor(void* owner);
/* Copies name to out; 0. */
TARN_EXPORT int TarnImage_GetFullPath(const char* name, char* out);
TARN_EXPORT int TarnImage_IsTrueColor(void);
TARN_EXPORT int TarnImage_HasLZW(void);
TARN_EXPORT void* TarnImage_ReturnRgbArray(void* owner, int count);
TARN_EXPORT int TarnImage_IsDrawingCancelled(void* owner);
TARN_EXPORT int TarnImage_CanScaleBitmap(void* owner);
TARN_EXPORT void* TarnImage_GetBitmapMaskBuffer(void* owner);
TARN_EXPORT void TarnImage_DisposeRgbArray(void* owner, void* array);
TARN_EXPORT void TarnImage_TranslateRgbArray(void* owner, void* array, int count,
                                             unsigned int* table);
TARN_EXPORT void TarnImage_DrawBitmap(void* owner, void* bitmap);
TARN_EXPORT void TarnImage_CreateBitmapMask(void* owner, void* bitmap);
TARN_EXPORT void TarnImage_ApplyBitmapMask(void* owner, void* bitmap);
TARN_EXPORT void TarnImage_ReleaseBitmap(void* owner, void* bitmap);
TARN_EXPORT void TarnImage_SetBitmapColorType(void* owner, int color_type);
TARN_EXPORT void TarnImage_SetBitmapSourceColors(void* owner, int count);

TARN_END_C

#endif
