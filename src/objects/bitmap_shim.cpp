// The bitmap shim: where a screen layer once drew, the image object itself is
// the bitmap, and its row buffer is the bitmap's memory.

#include <tarnimage/bitmap_shim.h>

#include <string.h>

#include "objects/image_impl.h"

namespace {

constexpr int kTrueColourDepth = 32;
constexpr int kTrueColourCount = 0x1000000;

// Owners reach here as `this` through void*; every object's first base derives
// from ITarnRefCnt, so that address is an ITarnRefCnt and dynamic_cast tells an
// image object from a band stream.
CIImageImpl* image_owner(void* owner) {
    if (!owner) return nullptr;
    return dynamic_cast<CIImageImpl*>(static_cast<ITarnRefCnt*>(owner));
}

}  // namespace

extern "C" {

void* TarnImage_CreateBitmap(void* owner, int, int) { return owner; }

int TarnImage_GetBitmapDepth(void* owner) {
    CIImageImpl* image = image_owner(owner);
    return image ? image->m_bitmapDepth : kTrueColourDepth;
}

int TarnImage_GetBitmapBitsPerPixel(void* owner) { return TarnImage_GetBitmapDepth(owner); }

void* TarnImage_GetBitmapBuffer(void* owner) {
    CIImageImpl* image = image_owner(owner);
    return image ? image->m_rowBuffer : nullptr;
}

int TarnImage_GetBitmapBytesPerLine(void* owner) {
    CIImageImpl* image = image_owner(owner);
    if (!image) return 0;
    long long bits = static_cast<long long>(image->m_resultWidth) * image->m_bitmapDepth;
    return static_cast<int>(((bits + 31) / 32) * 4);
}

void TarnImage_DescribeColorMap(void* owner, int* colours, int* levels, int* free_count) {
    CIImageImpl* image = image_owner(owner);
    if (free_count) *free_count = 0;
    if (colours) *colours = image ? image->m_colorCount2 : kTrueColourCount;
    if (levels) *levels = image ? image->m_colorCount : kTrueColourCount;
}

void TarnImage_SetBitmapFrame(void* owner, void*, const int* pair) {
    CIImageImpl* image = image_owner(owner);
    if (!image || !pair) return;
    image->m_frameX = pair[0];
    image->m_frameY = pair[1];
}

double TarnImage_QueryBitmapResFactor(void*) { return 1.0; }

int TarnImage_GetFullPath(const char* name, char* out) {
    if (name && out) strcpy(out, name);
    return 0;
}

int TarnImage_IsTrueColor(void) { return 1; }
int TarnImage_HasLZW(void) { return 1; }
void* TarnImage_ReturnRgbArray(void*, int) { return nullptr; }
int TarnImage_IsDrawingCancelled(void*) { return 0; }
int TarnImage_CanScaleBitmap(void*) { return 0; }
void* TarnImage_GetBitmapMaskBuffer(void*) { return nullptr; }
void TarnImage_DisposeRgbArray(void*, void*) {}
void TarnImage_TranslateRgbArray(void*, void*, int, unsigned int*) {}
void TarnImage_DrawBitmap(void*, void*) {}
void TarnImage_CreateBitmapMask(void*, void*) {}
void TarnImage_ApplyBitmapMask(void*, void*) {}
void TarnImage_ReleaseBitmap(void*, void*) {}
void TarnImage_SetBitmapColorType(void*, int) {}
void TarnImage_SetBitmapSourceColors(void*, int) {}

}
