// The bitmap shim: the colour and buffer code asks a screen for its depth, its
// colours and a row buffer to draw on. The screen is the read's display state,
// a true-colour screen whose bitmap is its one row buffer.

#include <tarnimage/bitmap_shim.h>

#include <string.h>

#include "pipeline/rgba_pipeline.h"

namespace {

constexpr int kTrueColourDepth = 32;
constexpr int kTrueColourCount = 0x1000000;

DisplayState* display_state(void* owner) {
    if (!owner) return nullptr;
    DisplayState* state = static_cast<DisplayState*>(owner);
    return state->magic == kDisplayMagic ? state : nullptr;
}

}  // namespace

extern "C" {

void* TarnImage_CreateBitmap(void* owner, int, int) { return owner; }

int TarnImage_GetBitmapDepth(void* owner) {
    DisplayState* state = display_state(owner);
    return state ? state->bitmap_depth : kTrueColourDepth;
}

int TarnImage_GetBitmapBitsPerPixel(void* owner) { return TarnImage_GetBitmapDepth(owner); }

void* TarnImage_GetBitmapBuffer(void* owner) {
    DisplayState* state = display_state(owner);
    return state ? state->row_buffer : nullptr;
}

int TarnImage_GetBitmapBytesPerLine(void* owner) {
    DisplayState* state = display_state(owner);
    if (!state) return 0;
    long long bits = static_cast<long long>(state->result_width) * state->bitmap_depth;
    return static_cast<int>(((bits + 31) / 32) * 4);
}

void TarnImage_DescribeColorMap(void* owner, int* colours, int* levels, int* free_count) {
    DisplayState* state = display_state(owner);
    if (free_count) *free_count = 0;
    if (colours) *colours = state ? state->colour_count2 : kTrueColourCount;
    if (levels) *levels = state ? state->colour_count : kTrueColourCount;
}

void TarnImage_SetBitmapFrame(void* owner, void*, const int* pair) {
    DisplayState* state = display_state(owner);
    if (!state || !pair) return;
    state->frame_x = pair[0];
    state->frame_y = pair[1];
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
